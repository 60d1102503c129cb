// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/rule_program.h"

#include "tessaryn/private/subscription_rule_expressions.h"
#include "tessaryn/sample_view.h"

#include <sstream>
#include <utility>

namespace velmora::core::tessaryn {

using Opcode = Instruction::Opcode;
using Place = CompiledRule::Place;

struct RuleProgram::Binding {
    Binding(std::uint64_t layout, BoundRule&& rule) : layout(layout), rule(std::move(rule)) {}

    std::uint64_t layout;
    BoundRule rule;
    std::atomic<Binding*> next = nullptr;
};

RuleProgram::RuleProgram(std::shared_ptr<RLExpr> tree)
    : tree(std::move(tree)), compiled(CompileRule(this->tree.get())) {}

RuleProgram::~RuleProgram() {
    for (const Binding* binding = bindings; binding != nullptr;) {
        const std::unique_ptr<const Binding> owner(binding);
        binding = owner->next;
    }
}

bool RuleProgram::Holds(const SubscriptionArgs& args) const {
    // A host that evaluates a rule itself may have no sample, which "pushed()" does not need.
    if (args.sample != nullptr && IsExactSample(*args.sample)) {
        const SampleView sample(*args.sample);
        const Binding* const binding = BindingFor(sample);
        if (binding != nullptr) {
            return binding->rule.Holds(sample, args);
        }
    }
    return valueOf(tree.get(), args).convert<bool>();
}

// Null where the sample lacks entries of its type, and for too many types.
const RuleProgram::Binding* RuleProgram::BindingFor(const SampleView& sample) const {
    const std::uint64_t layout = sample.CompleteLayout();
    std::atomic<Binding*>* place = &bindings;
    for (int count = 0; count < maxBindings; ++count) {
        Binding* binding = place->load(std::memory_order_acquire);
        if (binding == nullptr) {
            if (layout == 0) {
                return nullptr;
            }
            auto added = std::make_unique<Binding>(layout, BoundRule(compiled, sample.Type()));
            if (place->compare_exchange_strong(binding, added.get())) {
                return added.release();
            }
        }
        if (binding->layout == layout) {
            return binding;
        }
        place = &binding->next;
    }
    return nullptr;
}

namespace {

// The lines of a tree in one line.
std::string InOneLine(const RLExpr* expression) {
    std::ostringstream lines;
    if (expression != nullptr) {
        expression->dump(lines, 0);
    }
    std::istringstream words(lines.str());
    std::string line;
    for (std::string word; words >> word;) {
        line += ' ' + word;
    }
    return line;
}

std::string ComparisonOf(const Instruction& instruction) {
    const auto& comparison = static_cast<const RLRelExpr&>(*instruction.expression);
    return std::string(" ") + comparison.symbol() + " " + comparison.literal().toString();
}

std::string DumpOf(const Instruction& instruction) {
    switch (instruction.opcode) {
        case Opcode::Compare:
            return "Compare " + instruction.entryName + ComparisonOf(instruction);
        case Opcode::CompareRange:
            return "CompareRange " + instruction.entryName + "[" +
                   std::to_string(instruction.from) + ":" + std::to_string(instruction.to) + "]" +
                   ComparisonOf(instruction);
        case Opcode::CompareSize:
            return "CompareSize " + instruction.entryName + ComparisonOf(instruction);
        case Opcode::Exists:
            return "Exists " + instruction.entryName;
        case Opcode::ChangeType:
            return "ChangeType" + InOneLine(instruction.expression);
        case Opcode::Fallback:
            return "Fallback" + InOneLine(instruction.expression);
        case Opcode::Call:
            break;
    }
    return "Call";
}

std::string DumpOf(Place place) {
    return place >= 0 ? std::to_string(place) : place == CompiledRule::holds ? "true" : "false";
}

std::string DumpOf(Place from, Instruction::Target target) {
    return DumpOf(target == Instruction::holds   ? CompiledRule::holds
                  : target == Instruction::fails ? CompiledRule::fails
                                                 : from + target);
}

}  // namespace

std::string RuleProgram::Dump() const {
    std::ostringstream lines;
    if (compiled.start < 0) {
        lines << DumpOf(compiled.start) << '\n';
    }
    Place place = 0;
    for (const Instruction& instruction : compiled.code) {
        lines << place << ": " << DumpOf(instruction);
        if (instruction.opcode == Opcode::Call) {
            const CompiledRule::Block& block = compiled.blocks[instruction.block];
            lines << (block.verdict == CompiledRule::none ? " " : " once ") << DumpOf(block.start);
        }
        lines << " ? " << DumpOf(place, instruction.onTrue) << " : "
              << DumpOf(place, instruction.onFalse) << '\n';
        ++place;
    }
    return lines.str();
}

}  // namespace velmora::core::tessaryn

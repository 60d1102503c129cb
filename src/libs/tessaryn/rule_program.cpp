// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/rule_program.h"

#include "tessaryn/private/subscription_rule_expressions.h"
#include "tessaryn/sample_view.h"

#include <optional>
#include <sstream>
#include <utility>
#include <vector>

namespace velmora::core::tessaryn {

using Opcode = Instruction::Opcode;
using Place = CompiledRule::Place;

// One evaluation of a program that has blocks.
class RuleProgram::Evaluation {
  public:
    Evaluation(const CompiledRule& rule, const SampleView& sample, const SubscriptionArgs& args)
        : rule(rule), sample(sample), args(args), verdicts(rule.numVerdicts) {}

    bool Run(Place start) {
        if (start < 0) {
            return start == CompiledRule::holds;
        }
        const Instruction* instruction = &rule.code[static_cast<std::size_t>(start)];
        while (true) {
            const bool passes = instruction->opcode == Opcode::Call
                                    ? Call(rule.blocks[instruction->block])
                                    : instruction->test.Load()(*instruction, sample, args);
            const Instruction::Target target = passes ? instruction->onTrue : instruction->onFalse;
            if (target <= 0) {
                return target == Instruction::holds;
            }
            instruction += target;
        }
    }

  private:
    bool Call(const CompiledRule::Block& block) {
        if (block.verdict == CompiledRule::none) {
            return Run(block.start);
        }
        std::optional<bool>& verdict = verdicts[block.verdict];
        if (!verdict) {
            verdict = Run(block.start);
        }
        return *verdict;
    }

    const CompiledRule& rule;
    const SampleView& sample;
    const SubscriptionArgs& args;
    // Empty, and so not allocated, where the tree shares no part.
    std::vector<std::optional<bool>> verdicts;
};

RuleProgram::RuleProgram(std::shared_ptr<RLExpr> tree)
    : tree(std::move(tree)),
      compiled(CompileRule(this->tree.get())),
      entry(compiled.start == 0 && compiled.blocks.empty() ? compiled.code.data() : nullptr) {}

RuleProgram::~RuleProgram() = default;

bool RuleProgram::Holds(const SubscriptionArgs& args) const {
    // A host that asks a rule itself may have no sample, which "pushed()" does not need.
    if (args.sample == nullptr || !IsExactSample(*args.sample)) {
        return valueOf(tree.get(), args).convert<bool>();
    }
    return Holds(SampleView(*args.sample), args);
}

bool RuleProgram::HoldsWithBlocks(const SampleView& sample, const SubscriptionArgs& args) const {
    return Evaluation(compiled, sample, args).Run(compiled.start);
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
    const auto& comparison = static_cast<const RLRelExpr&>(*instruction.operands->expression);
    return std::string(" ") + comparison.symbol() + " " + comparison.literal().toString();
}

std::string DumpOf(const Instruction& instruction) {
    const Operands& operands = *instruction.operands;
    switch (instruction.opcode) {
        case Opcode::Compare:
            return "Compare " + operands.entryName + ComparisonOf(instruction);
        case Opcode::CompareRange:
            return "CompareRange " + operands.entryName + "[" + std::to_string(operands.from) +
                   ":" + std::to_string(operands.to) + "]" + ComparisonOf(instruction);
        case Opcode::CompareSize:
            return "CompareSize " + operands.entryName + ComparisonOf(instruction);
        case Opcode::Exists:
            return "Exists " + operands.entryName;
        case Opcode::ChangeType:
            return "ChangeType" + InOneLine(operands.expression);
        case Opcode::Fallback:
            return "Fallback" + InOneLine(operands.expression);
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

// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/stored_rule.h"

#include "tessaryn/encoded_rule.h"
#include "tessaryn/private/subscription_rule_expressions.h"
#include "tessaryn/rule_program.h"

#include <functional>
#include <string>
#include <utility>

namespace velmora::core::tessaryn {

namespace {

// Empty for a rule that needs its tree.
std::string Encoded(const RuleProgram& program) {
    const CompiledRule& code = program.GetCode();
    return code.mayThrow || !code.blocks.empty() ? std::string()
                                                 : EncodeRule(program.GetTree().get());
}

}  // namespace

StoredRule::StoredRule(std::shared_ptr<const RuleProgram> program, const StreamType* type)
    : bound(program->GetCode(), type, Encoded(*program)) {
    if (bound.Trailer().empty()) {
        this->program =
            std::make_unique<const std::shared_ptr<const RuleProgram>>(std::move(program));
    }
}

bool StoredRule::HoldsAnywhere(const SubscriptionArgs& args) const {
    if (program != nullptr) {
        return (*program)->Holds(args);
    }
    return valueOf(DecodeRule(bound.Trailer()).get(), args).convert<bool>();
}

void StoredRule::Bind(const StreamType* type) const {
    if (program != nullptr) {
        bound = BoundRule((*program)->GetCode(), type);
    } else {
        const std::shared_ptr<RLExpr> tree = DecodeRule(bound.Trailer());
        bound = BoundRule(CompileRule(tree.get()), type, bound.Trailer());
    }
}

bool StoredRule::operator==(const StoredRule& other) const {
    if (program == nullptr || other.program == nullptr) {
        return program == nullptr && other.program == nullptr &&
               bound.Trailer() == other.bound.Trailer();
    }
    return *program == *other.program;
}

std::size_t StoredRule::Hash() const {
    return program != nullptr ? std::hash<std::shared_ptr<const RuleProgram>>()(*program)
                              : std::hash<std::string_view>()(bound.Trailer());
}

const StoredRule* StoredRules::Acquire(StoredRule rule) {
    const StoredRule& stored = *rules.insert(std::move(rule)).first;
    ++stored.uses;
    return &stored;
}

void StoredRules::Release(const StoredRule* rule) {
    if (--rule->uses == 0) {
        rules.erase(rules.find(*rule));
    }
}

void StoredRules::Bind(const StreamType* type) {
    for (const StoredRule& rule : rules) {
        rule.Bind(type);
    }
}

}  // namespace velmora::core::tessaryn

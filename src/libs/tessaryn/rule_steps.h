// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/bound_instruction.h"

/// What bound instructions do.
namespace velmora::core::tessaryn {

/// The step of an instruction by itself.
BoundInstruction::Step StepOf(const BoundInstruction& instruction);

inline BoundInstruction::Target TargetOf(const BoundInstruction& instruction, bool outcome) {
    return outcome ? instruction.onTrue : instruction.onFalse;
}

}  // namespace velmora::core::tessaryn

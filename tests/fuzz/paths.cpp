// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "fuzz/fuzz.h"
#include "support/path_model.h"

// The bytes are look-ups, additions and removals by path. After each of them the tree of groups is
// that of the model.
void velmora::test::Fuzz(std::string_view input) {
    ByteChoices choices(input);
    {
        static const char separators[] = {'.', '/', 'a', '\0', '\xff'};
        ModelledRepo modelled(separators[choices.Below(5)], choices);
        while (!choices.Done()) {
            modelled.Step();
        }
    }
    ASSERT_EQ(HostItem::live + HostGroup::live, 0) << "groups or items are left";
}

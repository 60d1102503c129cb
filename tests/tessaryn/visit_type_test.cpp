// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/visit_type.h"

#include <gtest/gtest.h>

namespace velmora::core::tessaryn {
namespace {

TEST(VisitType, CallsWithTheNativeTypeOfTheValueTypeAndElseWithVoid) {
    for (unsigned short number = 0; number <= 14; ++number) {
        const BaseType visited =
            VisitType(static_cast<BaseType>(number), []<class T>(std::type_identity<T> /*type*/) {
                if constexpr (std::is_void_v<T>) {
                    return UnknownType;
                } else {
                    return GetBaseType<T>();
                }
            });
        EXPECT_EQ(int{visited}, number <= String ? number : 0);
    }
}

}  // namespace
}  // namespace velmora::core::tessaryn

// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "nats/subject.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace velmora::nats {
namespace {

TEST(Subject, StandsForOnePathOnly) {
    struct Row {
        std::string path;
        const char* subject;
    };
    const Row rows[] = {
        {"plant/line1/tank_2-a", "plant.line1.tank_2-a"},
        {"line 1/a.b/*/>", "line=201.a=2Eb.=2A.=3E"},
        {"=41/t\xC3\xBCr", "=3D41.t=C3=BCr"},
        {"a//b", "a.=.b"},
        {std::string("\0\x7F", 2), "=00=7F"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(ToSubject(row.path, '/'), row.subject);
        EXPECT_EQ(ToPath(row.subject, '/'), row.path);
    }
    EXPECT_EQ(ToPath("a.b", ':'), "a:b");
    for (const char* const other :
         {"", "a..b", "a.", "a=4", "=2", "=2e", "=41", "=2F", "a*", "=types.x", "a =20"}) {
        EXPECT_THROW(ToPath(other, '/'), std::invalid_argument) << other;
    }
}

TEST(Subject, KeepsTheWildcardsOfPatterns) {
    EXPECT_EQ(ToSubjects("plant/*/tank 1/>", '/'), "plant.*.tank=201.>");
    EXPECT_EQ(ToSubjects("a*", '/'), "a=2A");
    EXPECT_EQ(ToTypeSubject("velmora", "00ff"), "=types.velmora.00ff");
}

}  // namespace
}  // namespace velmora::nats

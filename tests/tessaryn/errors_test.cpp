// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/errors.h"

#include "serializer/serialization_exception.h"
#include "support/thrown.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <type_traits>

namespace velmora::core::tessaryn {
namespace {

using test::MessageOf;
using utils::Version;

template <class E>
void ExpectLibraryException(const E& exception, const std::string& message) {
    static_assert(std::is_base_of_v<BaseException, E> &&
                  std::is_base_of_v<std::runtime_error, BaseException>);
    EXPECT_EQ(exception.what(), message);
    EXPECT_EQ(MessageOf<E>([copy = exception] { throw copy; }), message);
}

TEST(Errors, ComposeTheirMessagesAndKeepTheirFields) {
    const TypeMismatchException mismatch(Int32, Float);
    ExpectLibraryException(mismatch, "Type 'Int32' is not compatible with type 'Float'.\n");
    EXPECT_EQ(mismatch.GetDeclaredType(), 3);
    EXPECT_EQ(mismatch.GetRequestedType(), 9);
    ExpectLibraryException(GroupNotFoundException("a.b"), "Group 'a.b' does not exist.");
    ExpectLibraryException(GroupNotFoundException(""), "Group '' does not exist.");
    ExpectLibraryException(ItemNotFoundException("%s"), "Item '%s' does not exist.");
    ExpectLibraryException(StreamCreateException("none"), "Could not create stream. Reason: none");
    ExpectLibraryException(EntryNotFoundException("as it is"), "as it is");
    ExpectLibraryException(serialization::SerializationException("as it is"), "as it is");

    const Version version(1, 2, 3);
    const utils::VersionedObjectAlreadyExistsException exists("there", version);
    ExpectLibraryException(exists, "there");
    EXPECT_EQ(exists.GetVersion(), version);
    const utils::VersionedObjectNotFoundException absent("gone", version);
    ExpectLibraryException(absent, "gone");
    EXPECT_EQ(absent.GetVersion(), version);
    const utils::WrongVersionException wrong("step", version);
    ExpectLibraryException(wrong, "step");
    EXPECT_EQ(wrong.GetVersion(), version);
}

}  // namespace
}  // namespace velmora::core::tessaryn

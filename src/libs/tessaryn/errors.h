// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "common/base_exception.h"
#include "common/version.h"
#include "tessaryn/base_type.h"
#include "tessaryn/export.h"

#include <string>

/// \file
/// The library's own exceptions. A host that wants them all catches `BaseException`; catching
/// `std::exception` includes the standard ones and Poco's.
///
/// Each class, when it is thrown, and its message:
/// - `TypeMismatchException`: an accessor's type does not fit the entry's. "Type 'A' is not
///   compatible with type 'B'." and a line feed.
/// - `GroupNotFoundException`: a look-up of a group by name or path. "Group 'name' does not exist."
/// - `ItemNotFoundException`: a look-up of an item by name or path. "Item 'name' does not exist."
///   The newest sample of an empty stream: "No Sample in Stream".
/// - `StreamCreateException`: the samples of a stream's node cannot be read. "Could not
///   create stream. Reason: " and the reason.
/// - `EntryNotFoundException`: a look-up of an entry by name. Names the entry, the type and its
///   version.
/// - `VersionedObjectAlreadyExistsException`: a version is added twice. Names the version and the
///   collection.
/// - `VersionedObjectNotFoundException`: a look-up of an absent version. Names the version and the
///   collection.
/// - `WrongVersionException`: a version step is too small, or exceeds the largest version. Says
///   which.
///
/// \threadsafety immutable

namespace velmora::core::tessaryn {

/// An entry was accessed as a type that is not compatible with its declared type.
class TESSARYN_API TypeMismatchException : public BaseException {
  public:
    /// \param declared the entry's type
    /// \param requested the accessor's type
    TypeMismatchException(BaseType declared, BaseType requested);
    ~TypeMismatchException() override;

    /// The type that the entry was declared with.
    BaseType GetDeclaredType() const { return declared; }
    /// The type of the accessor that was used.
    BaseType GetRequestedType() const { return requested; }

  private:
    BaseType declared;
    BaseType requested;
};

/// There is no group of that name or path.
class TESSARYN_API GroupNotFoundException : public BaseException {
  public:
    /// \param name the name or path looked up
    explicit GroupNotFoundException(const std::string& name);
    ~GroupNotFoundException() override;
};

/// There is no item of that name or path, or a stream has no newest sample.
class TESSARYN_API ItemNotFoundException : public BaseException {
  public:
    /// \param name the name or path looked up
    explicit ItemNotFoundException(const std::string& name);
    ~ItemNotFoundException() override;

    /// The exception for a stream without a newest sample: "No Sample in Stream".
    static ItemNotFoundException ForEmptyStream();

  private:
    struct Verbatim {};
    ItemNotFoundException(Verbatim, const std::string& message);
};

/// A stream could not be built from its node.
class TESSARYN_API StreamCreateException : public BaseException {
  public:
    /// \param reason what went wrong
    explicit StreamCreateException(const std::string& reason);
    ~StreamCreateException() override;
};

/// A stream type has no entry of that name.
class TESSARYN_API EntryNotFoundException : public BaseException {
  public:
    /// \param message the text of `what()`
    explicit EntryNotFoundException(const std::string& message);
    ~EntryNotFoundException() override;
};

}  // namespace velmora::core::tessaryn

namespace velmora::utils {

/// A version that is already in the collection was added.
class TESSARYN_API VersionedObjectAlreadyExistsException : public BaseException {
  public:
    /// \param message the text of `what()`
    /// \param version the version to be added
    VersionedObjectAlreadyExistsException(const std::string& message, const Version& version);
    ~VersionedObjectAlreadyExistsException() override;

    /// The version that was to be added.
    Version GetVersion() const { return version; }

  private:
    Version version;
};

/// A version that is not in the collection was looked up.
class TESSARYN_API VersionedObjectNotFoundException : public BaseException {
  public:
    /// \param message the text of `what()`
    /// \param version the version that was looked up
    VersionedObjectNotFoundException(const std::string& message, const Version& version);
    ~VersionedObjectNotFoundException() override;

    /// The version that was looked up; 0.0.0 for the latest of an empty collection.
    Version GetVersion() const { return version; }

  private:
    Version version;
};

/// A step from one version to the next is too small, or exceeds the largest version.
class TESSARYN_API WrongVersionException : public BaseException {
  public:
    /// \param message the text of `what()`
    /// \param version the step
    WrongVersionException(const std::string& message, const Version& version);
    ~WrongVersionException() override;

    /// The step that was refused.
    Version GetVersion() const { return version; }

  private:
    Version version;
};

}  // namespace velmora::utils

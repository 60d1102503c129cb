// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/errors.h"

namespace velmora::core::tessaryn {

TypeMismatchException::TypeMismatchException(BaseType declaredType, BaseType requestedType)
    : BaseException("Type '" + ToString(declaredType) + "' is not compatible with type '" +
                    ToString(requestedType) + "'.\n"),
      declared(declaredType),
      requested(requestedType) {}

GroupNotFoundException::GroupNotFoundException(const std::string& name)
    : BaseException("Group '" + name + "' does not exist.") {}

ItemNotFoundException::ItemNotFoundException(const std::string& name)
    : BaseException("Item '" + name + "' does not exist.") {}

ItemNotFoundException::ItemNotFoundException(Verbatim, const std::string& message)
    : BaseException(message) {}

ItemNotFoundException ItemNotFoundException::ForEmptyStream() {
    return {Verbatim(), "No Sample in Stream"};
}

StreamCreateException::StreamCreateException(const std::string& reason)
    : BaseException("Could not create stream. Reason: " + reason) {}

EntryNotFoundException::EntryNotFoundException(const std::string& message)
    : BaseException(message) {}

TypeMismatchException::~TypeMismatchException() = default;
GroupNotFoundException::~GroupNotFoundException() = default;
ItemNotFoundException::~ItemNotFoundException() = default;
StreamCreateException::~StreamCreateException() = default;
EntryNotFoundException::~EntryNotFoundException() = default;

}  // namespace velmora::core::tessaryn

namespace velmora::utils {

VersionedObjectAlreadyExistsException::VersionedObjectAlreadyExistsException(
    const std::string& message, const Version& refused)
    : BaseException(message), version(refused) {}

VersionedObjectNotFoundException::VersionedObjectNotFoundException(const std::string& message,
                                                                   const Version& wanted)
    : BaseException(message), version(wanted) {}

WrongVersionException::WrongVersionException(const std::string& message, const Version& step)
    : BaseException(message), version(step) {}

VersionedObjectAlreadyExistsException::~VersionedObjectAlreadyExistsException() = default;
VersionedObjectNotFoundException::~VersionedObjectNotFoundException() = default;
WrongVersionException::~WrongVersionException() = default;

}  // namespace velmora::utils

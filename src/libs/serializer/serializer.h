// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "common/version.h"
#include "serializer/error_handlers.h"
#include "serializer/export.h"
#include "serializer/node.h"
#include "serializer/rules.h"
#include "serializer/serialization_exception.h"
#include "serializer/serialization_result.h"
#include "serializer/serializer_fwd.h"

#include <optional>
#include <string>
#include <type_traits>
#include <utility>

namespace velmora::core::serialization {

/// Reads and writes values of nodes, subject to rules.
///
/// Reading is strict: the entire text must be a value within the range of its type. Writing a
/// value and reading it gives the same value. Neither depends on a locale.
///
/// Values are `char` (one byte), `bool` ("true" or "false"), the integer types from `short` on,
/// `float`, `double`, `std::string` and `Version`. A library adds its own types by specialising
/// `DeserializePrivate` and `SerializePrivate`.
///
/// \threadsafety immutable
template <class Node>
class VELMORA_SERIALIZER_API Serializer {
  public:
    /// Reads a value. If it cannot be read and the rule still passes, the value becomes T().
    ///
    /// \param node may be absent
    /// \param value receives the value; unchanged if the rule is broken
    /// \param rule is checked against the value and the outcome of reading it
    /// \param handler is called if the rule is broken
    /// \throws SerializationException through the handler
    template <class T, class Rule>
    void Deserialize(Node node, T& value, const Rule& rule, const ThrowErrorHandler& handler) const;

    /// Reads a value, or takes the default if the value cannot be read or breaks the rule.
    ///
    /// \param node may be absent
    template <class T, class Rule>
    void Deserialize(Node node, T& value, const Rule& rule,
                     const std::type_identity_t<T>& defaultValue) const;

    /// Writes a value. Does nothing if the node is absent; a broken rule is ignored.
    template <class T, class Rule>
    void Serialize(Node node, const T& value, const Rule& rule) const;

    /// As above, and reports whether the rule was broken.
    ///
    /// \param broken receives the broken rule, or nothing if it passed
    template <class T, class Rule>
    void Serialize(Node node, const T& value, const Rule& rule,
                   std::optional<BrokenRule>& broken) const;

    /// Checks a rule that needs no value, such as `Exist()`.
    ///
    /// \param node may be absent
    /// \param rule is checked as if the value of an existing node had been read
    /// \param handler is called if the rule is broken
    /// \throws SerializationException through the handler
    template <class Rule>
    void Test(Node node, const Rule& rule, const ThrowErrorHandler& handler) const;

    /// Reads the value of an existing node.
    ///
    /// \param result has the status `done`; a specialisation may change it
    /// \throws SerializationException when the node has no value, or its text is not one of type T
    template <class T>
    T DeserializePrivate(Node node, SerializationResult& result) const;

    /// Writes the value of an existing node.
    ///
    /// \param result has the status `done`; a specialisation may change it
    /// \throws SerializationException when the node is absent
    template <class T>
    void SerializePrivate(Node node, const T& value, SerializationResult& result) const;

  private:
    /// Takes the place of the value in `Test`.
    struct NoValue {};

    template <class T>
    SerializationResult Read(const Node& node, T& value) const;

    template <class Rule>
    static BrokenRule Describe(const Node& node, const Rule& rule, SerializationResult&& result);
};

template <class Node>
template <class T>
SerializationResult Serializer<Node>::Read(const Node& node, T& value) const {
    SerializationResult result;
    if (node.Exists()) {
        result.status = SerializationResult::done;
        try {
            value = DeserializePrivate<T>(node, result);
        } catch (const SerializationException& exception) {
            result.status = SerializationResult::failed;
            result.reason = exception.what();
        }
    }
    return result;
}

template <class Node>
template <class Rule>
BrokenRule Serializer<Node>::Describe(const Node& node, const Rule& rule,
                                      SerializationResult&& result) {
    return {std::move(result.reason), rule.GetDescription(), node.GetPosition()};
}

template <class Node>
template <class T, class Rule>
void Serializer<Node>::Deserialize(Node node, T& value, const Rule& rule,
                                   const ThrowErrorHandler& handler) const {
    T read{};
    SerializationResult result = Read(node, read);
    if (!rule.Check(result, read)) {
        handler.Handle(Describe(node, rule, std::move(result)));
    }
    value = std::move(read);
}

template <class Node>
template <class T, class Rule>
void Serializer<Node>::Deserialize(Node node, T& value, const Rule& rule,
                                   const std::type_identity_t<T>& defaultValue) const {
    T read(defaultValue);
    const SerializationResult result = Read(node, read);
    // The default is copied again: a value that broke the rule may have overwritten it.
    value = rule.Check(result, read) ? std::move(read) : T(defaultValue);
}

template <class Node>
template <class T, class Rule>
void Serializer<Node>::Serialize(Node node, const T& value, const Rule& rule) const {
    std::optional<BrokenRule> broken;
    Serialize(std::move(node), value, rule, broken);
}

template <class Node>
template <class T, class Rule>
void Serializer<Node>::Serialize(Node node, const T& value, const Rule& rule,
                                 std::optional<BrokenRule>& broken) const {
    SerializationResult result;
    if (node.Exists()) {
        result.status = SerializationResult::done;
        try {
            SerializePrivate<T>(node, value, result);
        } catch (const SerializationException& exception) {
            result.status = SerializationResult::failed;
            result.reason = exception.what();
        }
    }
    broken.reset();
    if (!rule.Check(result, value)) {
        broken = Describe(node, rule, std::move(result));
    }
}

template <class Node>
template <class Rule>
void Serializer<Node>::Test(Node node, const Rule& rule, const ThrowErrorHandler& handler) const {
    SerializationResult result;
    if (node.Exists()) {
        result.status = SerializationResult::done;
    }
    if (!rule.Check(result, NoValue())) {
        handler.Handle(Describe(node, rule, std::move(result)));
    }
}

// DeserializePrivate and SerializePrivate have no definition here: the library instantiates them
// for the types listed above, other types are specialised elsewhere.

}  // namespace velmora::core::serialization

// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <cstdio>
#include <cstdlib>
#include <cxxabi.h>
#include <dlfcn.h>
#include <memory>
#include <set>
#include <sstream>
#include <string>

namespace velmora::test {

/// The qualified name of a function from its symbol, without parameters; empty for other symbols.
inline std::string FunctionName(const char* symbol) {
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> text(
        abi::__cxa_demangle(symbol, nullptr, nullptr, &status), &std::free);
    std::string name = status == 0 ? text.get() : "";
    const std::size_t parameters = name.find('(', name.find("operator()") == 0 ? 10 : 0);
    name.resize(parameters == std::string::npos ? 0 : parameters);
    const std::size_t tag = name.find("[abi:cxx11]");
    return tag == std::string::npos ? name : name.substr(0, tag);
}

/// The functions with this prefix that a shared library exports, without destructors and templates.
inline std::set<std::string> ExportedFunctions(const std::string& library,
                                               const std::string& prefix) {
    std::set<std::string> functions;
    const std::unique_ptr<FILE, int (*)(FILE*)> output(
        popen(("nm --dynamic --defined-only '" + library + "'").c_str(), "r"), &pclose);
    char line[4096];
    while (output && std::fgets(line, sizeof line, output.get()) != nullptr) {
        std::istringstream fields(line);
        std::string address;
        std::string kind;
        std::string symbol;
        fields >> address >> kind >> symbol;
        const std::string name = kind == "T" ? FunctionName(symbol.c_str()) : "";
        if (name.starts_with(prefix) && name.find_first_of("~<") == std::string::npos) {
            functions.insert(name.substr(prefix.size()));
        }
    }
    return functions;
}

}  // namespace velmora::test

// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "source/document_input.h"

#include "command_error.h"

#include <Poco/Exception.h>

#include <istream>
#include <streambuf>

namespace velmora::tool {

namespace tsn = core::tessaryn;

namespace {

// The bytes of an input as a stream buffer.
class InputBuffer : public std::streambuf {
  public:
    explicit InputBuffer(InputStream& input) : input(input) {}

  protected:
    int_type underflow() override {
        const std::string_view block = input.Read();
        // Stream buffers have no pointers to const; nothing writes through these.
        char* const begin = const_cast<char*>(block.data());
        setg(begin, begin, begin + block.size());
        return block.empty() ? traits_type::eof() : traits_type::to_int_type(block.front());
    }

  private:
    InputStream& input;
};

}  // namespace

tsn::Document ReadDocument(InputStream& input, std::uint64_t maxMemory) {
    const std::string_view beginning = input.Peek();
    const std::size_t first = beginning.find_first_not_of("\xEF\xBB\xBF \t\r\n");
    const bool isXml = first != std::string_view::npos && beginning[first] == '<';
    InputBuffer buffer(input);
    std::istream in(&buffer);
    // Passes exceptions of reading on, which would otherwise look like the end.
    in.exceptions(std::ios::badbit);
    core::serialization::ReadLimits limits;
    limits.maxMemory = maxMemory;
    try {
        return isXml ? tsn::ReadXmlDocument(in, limits, {maxMemory})
                     : tsn::ReadJsonDocument(in, limits, {maxMemory});
    } catch (const Poco::Exception& error) {
        throw CommandError(input.GetName() + ": " + error.message());
    } catch (const CommandError&) {
        throw;
    } catch (const std::exception& error) {
        throw CommandError(input.GetName() + ": " + error.what());
    }
}

}  // namespace velmora::tool

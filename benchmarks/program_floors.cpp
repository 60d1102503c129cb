// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// What the libraries take that the program reads JSON lines and packed tables with:
//
//     program_floors json FILE
//     program_floors gzip FILE
//     program_floors table FILE

#include <csv.h>
#include <rapidjson/reader.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>
#include <zlib.h>

namespace {

struct Counter : rapidjson::BaseReaderHandler<rapidjson::UTF8<>, Counter> {
    bool Default() {
        ++values;
        return true;
    }
    std::uint64_t values = 0;
};

bool CountValues(const char* path, std::uint64_t& values) {
    constexpr unsigned int flags =
        rapidjson::kParseInsituFlag | rapidjson::kParseValidateEncodingFlag;
    std::ifstream in(path);
    Counter counter;
    rapidjson::Reader parser;
    for (std::string line; std::getline(in, line);) {
        rapidjson::InsituStringStream stream(line.data());
        if (!parser.Parse<flags>(stream, counter)) {
            return false;
        }
    }
    values = counter.values;
    return in.eof();
}

// Unpacks a file, and hands its blocks over.
template <typename Take>
bool Unpack(const char* path, Take take) {
    constexpr unsigned int blockSize = 128 * 1024;
    const gzFile file = gzopen(path, "rb");
    if (file == nullptr) {
        return false;
    }
    gzbuffer(file, blockSize);
    std::vector<char> block(blockSize);
    int count = 0;
    while ((count = gzread(file, block.data(), blockSize)) > 0) {
        take(block.data(), static_cast<std::size_t>(count));
    }
    return gzclose(file) == Z_OK && count == 0;
}

bool CountBytes(const char* path, std::uint64_t& bytes) {
    return Unpack(path, [&](const char* /*block*/, std::size_t size) { bytes += size; });
}

bool CountFields(const char* path, std::uint64_t& fields) {
    csv_parser parser;
    if (csv_init(&parser, CSV_STRICT) != 0) {
        return false;
    }
    const auto onField = [](void* /*field*/, std::size_t /*length*/, void* count) {
        ++*static_cast<std::uint64_t*>(count);
    };
    const bool isUnpacked = Unpack(path, [&](const char* block, std::size_t size) {
        csv_parse(&parser, block, size, onField, nullptr, &fields);
    });
    csv_fini(&parser, onField, nullptr, &fields);
    csv_free(&parser);
    return isUnpacked;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string form = argc == 3 ? argv[1] : "";
    std::uint64_t count = 0;
    const bool isRead = form == "json"    ? CountValues(argv[2], count)
                        : form == "gzip"  ? CountBytes(argv[2], count)
                        : form == "table" ? CountFields(argv[2], count)
                                          : false;
    std::printf("%llu\n", static_cast<unsigned long long>(count));
    return isRead ? 0 : 2;
}

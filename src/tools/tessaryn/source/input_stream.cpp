// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "source/input_stream.h"

#include "command_error.h"
#include "text/escaped_text.h"

#include <Poco/Ascii.h>

#include <algorithm>
#include <array>
#include <utility>
#include <zlib.h>
#include <zstd.h>

namespace velmora::tool {

namespace {

using namespace std::string_view_literals;

constexpr std::size_t blockSize = std::size_t{128} * 1024;
constexpr std::string_view gzipMagic = "\x1f\x8b"sv;
constexpr std::string_view zstdMagic = "\x28\xb5\x2f\xfd"sv;

class GzipDecompressor : public Decompressor {
  public:
    GzipDecompressor() {
        constexpr int gzipWindow = 15 + 16;
        if (inflateInit2(&stream, gzipWindow) != Z_OK) {
            throw CommandError("out of memory");
        }
    }
    ~GzipDecompressor() override { inflateEnd(&stream); }

    std::size_t Unpack(std::string_view& packed, char* to, std::size_t size) override {
        if (atMemberEnd) {
            // Another member, or padding with zeros as on tapes.
            packed.remove_prefix(std::min(packed.find_first_not_of('\0'), packed.size()));
            if (packed.empty()) {
                return 0;
            }
            inflateReset(&stream);
            atMemberEnd = false;
        }
        stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(packed.data()));
        stream.avail_in = static_cast<uInt>(packed.size());
        stream.next_out = reinterpret_cast<Bytef*>(to);
        stream.avail_out = static_cast<uInt>(size);
        const int result = inflate(&stream, Z_NO_FLUSH);
        if (result != Z_OK && result != Z_STREAM_END && result != Z_BUF_ERROR) {
            throw CommandError(stream.msg == nullptr ? "corrupt data" : stream.msg);
        }
        atMemberEnd = result == Z_STREAM_END;
        packed.remove_prefix(packed.size() - stream.avail_in);
        return size - stream.avail_out;
    }

    bool IsComplete() const override { return atMemberEnd; }

  private:
    z_stream stream{};
    bool atMemberEnd = false;
};

class ZstdDecompressor : public Decompressor {
  public:
    std::size_t Unpack(std::string_view& packed, char* to, std::size_t size) override {
        ZSTD_inBuffer in{packed.data(), packed.size(), 0};
        ZSTD_outBuffer out{to, size, 0};
        const std::size_t result = ZSTD_decompressStream(stream.get(), &out, &in);
        if (ZSTD_isError(result) != 0) {
            throw CommandError(ZSTD_getErrorName(result));
        }
        packed.remove_prefix(in.pos);
        isComplete = result == 0;
        return out.pos;
    }

    bool IsComplete() const override { return isComplete; }

  private:
    std::unique_ptr<ZSTD_DStream, decltype(&ZSTD_freeDStream)> stream{ZSTD_createDStream(),
                                                                      &ZSTD_freeDStream};
    bool isComplete = false;
};

struct Kind {
    std::size_t offset;
    std::string_view magic;
    const char* name;
    const char* advice;
};

// Kinds of content that cannot be read, by their first bytes.
constexpr std::array kinds = {
    Kind{257, "ustar"sv, "tar", "unpack it with tar -xf"},
    Kind{0, gzipMagic, "gzip", "unpack it with gunzip"},
    Kind{0, zstdMagic, "Zstandard", "unpack it with zstd -d"},
    Kind{0, "BZh"sv, "bzip2", "unpack it with bunzip2"},
    Kind{0, "\xfd\x37zXZ\0"sv, "xz", "unpack it with unxz"},
    Kind{0, "PK\x03\x04"sv, "a zip archive or a spreadsheet", "unpack it, or export it as CSV"},
    Kind{0, "7z\xbc\xaf\x27\x1c"sv, "7z", "unpack it with 7z x"},
    Kind{0, "\xd0\xcf\x11\xe0"sv, "a spreadsheet", "export it as CSV"},
    Kind{0, "PAR1"sv, "Parquet", "export it as CSV"},
    Kind{0, "\x89HDF"sv, "HDF5", "export it as CSV"},
    Kind{0, "CDF"sv, "NetCDF", "export it as CSV"},
    Kind{0, "MATLAB"sv, "a MATLAB file", "export it as CSV"},
    Kind{0, "%PDF"sv, "PDF", "it holds no table that can be read"},
    Kind{0, "\x89PNG"sv, "a picture", "it holds no table that can be read"},
    Kind{0, "\xff\xfe"sv, "text in UTF-16", "convert it with iconv -f UTF-16 -t UTF-8"},
    Kind{0, "\xfe\xff"sv, "text in UTF-16", "convert it with iconv -f UTF-16 -t UTF-8"},
};

// Whether a byte in the first line shows that the content is not text.
bool IsBinary(char c) {
    return static_cast<unsigned char>(c) < ' ' && !Poco::Ascii::isSpace(c);
}

}  // namespace

std::string_view InputStream::Read() {
    if (!peeked.empty()) {
        return std::exchange(peeked, {});
    }
    return ReadUnpacked();
}

std::string_view InputStream::Peek() {
    if (peeked.empty() && !begun) {
        peeked = ReadUnpacked();
    }
    return peeked;
}

std::string_view InputStream::ReadUnpacked() {
    if (decompressor) {
        return Unpack();
    }
    std::string_view block = file->Read();
    if (begun) {
        return block;
    }
    begun = true;
    if (block.starts_with(gzipMagic)) {
        decompressor = std::make_unique<GzipDecompressor>();
        container = " inside gzip";
    } else if (block.starts_with(zstdMagic)) {
        decompressor = std::make_unique<ZstdDecompressor>();
        container = " inside Zstandard";
    }
    if (decompressor) {
        packed = block;
        block = Unpack();
    }
    CheckKind(block);
    return block;
}

std::string_view InputStream::Unpack() {
    unpacked.resize(blockSize);
    std::size_t size = 0;
    while (size == 0) {
        if (packed.empty()) {
            packed = file->Read();
            if (packed.empty() && file->IsAtEnd() && !decompressor->IsComplete()) {
                throw CommandError(GetName() + ": the compressed data is cut off");
            }
            if (packed.empty()) {
                return {};
            }
        }
        try {
            size = decompressor->Unpack(packed, unpacked.data(), unpacked.size());
        } catch (const CommandError& error) {
            throw CommandError(GetName() + ": cannot be unpacked: " + error.what());
        }
    }
    return {unpacked.data(), size};
}

void InputStream::CheckKind(std::string_view beginning) const {
    for (const Kind& kind : kinds) {
        if (beginning.size() > kind.offset &&
            beginning.substr(kind.offset).starts_with(kind.magic)) {
            throw CommandError(GetName() + " looks like " + kind.name + container +
                               ", which is not read: " + kind.advice);
        }
    }
    const std::string_view line = beginning.substr(0, beginning.find('\n'));
    if (std::any_of(line.begin(), line.end(), IsBinary)) {
        throw CommandError(GetName() + " looks like binary data" + container +
                           ", which is not read: export it as CSV");
    }
}

}  // namespace velmora::tool

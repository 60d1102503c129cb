// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/sample.h"
#include "tessaryn/sample_access.h"
#include "tessaryn/value_traits.h"

#include <Poco/MemoryStream.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <cxxabi.h>
#include <fstream>
#include <istream>
#include <limits>
#include <memory>
#include <ostream>
#include <sstream>
#include <streambuf>
#include <string_view>
#include <typeinfo>
#include <utility>

namespace velmora::core::tessaryn {

namespace {

void CopyBytes(char* to, const char* from, std::size_t bytes) {
    if (bytes != 0) {
        std::memcpy(to, from, bytes);
    }
}

// Records an exception of a stream's buffer, and rethrows it if the stream's exception mask asks
// for that.
void OnThrow(std::ios& stream) {
    try {
        stream.setstate(std::ios::badbit);
    } catch (const std::ios::failure&) {
        // The buffer's exception is rethrown instead.
    }
    if ((stream.exceptions() & std::ios::badbit) != 0) {
        throw;
    }
}

// Writes as `std::ostream::write` does to a stream that was prepared.
bool WriteBlock(std::ostream& out, const char* block, std::streamsize bytes) {
    try {
        if (out.rdbuf()->sputn(block, bytes) == bytes) {
            return true;
        }
    } catch (const abi::__forced_unwind&) {
        throw;
    } catch (...) {
        OnThrow(out);
        return false;
    }
    out.setstate(std::ios::badbit);
    return false;
}

// What a buffer has in memory: `std::streambuf` shows it to derived classes only.
class GetArea : public std::streambuf {
  public:
    static std::string_view Of(const std::streambuf& buffer) {
        const char* const begin = (buffer.*&GetArea::gptr)();
        return {begin, static_cast<std::size_t>((buffer.*&GetArea::egptr)() - begin)};
    }
    static void Skip(std::streambuf& buffer, std::size_t bytes) {
        (buffer.*&GetArea::gbump)(static_cast<int>(bytes));
    }
};

// The type of the buffers that POCO makes: not necessarily that of those that this file would make.
const std::type_info& TypeOfMemoryBuffer() {
    static const std::type_info& type = []() -> const std::type_info& {
        Poco::MemoryInputStream stream("", 0);
        const std::streambuf& buffer = *stream.rdbuf();
        return typeid(buffer);
    }();
    return type;
}

// Whether a stream is prepared for reading as it is.
bool NeedsNothing(const std::istream& in) {
    return in.good() && in.tie() == nullptr;
}

// The available bytes of a stream, if they can be read from memory without a call that a host could
// notice.
std::string_view BytesInMemory(std::istream& in) {
    const std::streambuf* const buffer = in.rdbuf();
    if (!NeedsNothing(in) || buffer == nullptr) {
        return {};
    }
    const std::type_info* const type = &typeid(*buffer);
    const bool isKnown = type == &TypeOfMemoryBuffer() || type == &typeid(std::stringbuf) ||
                         type == &typeid(std::filebuf);
    return isKnown ? GetArea::Of(*buffer).substr(0, std::numeric_limits<int>::max())
                   : std::string_view();
}

// Whether none of the offsets is less than the one before. No for those of 2 GiB and more, so that
// the sign of a difference tells it, which takes the fewest vector instructions.
bool DoAscend(const char* table, std::size_t count) {
    unsigned int signs = 0;
    for (std::size_t i = 1; i < count; ++i) {
        const char* const offset = table + i * sizeof(unsigned int);
        const auto previous = traits::Load<unsigned int>(offset - sizeof(unsigned int));
        signs |= previous | (traits::Load<unsigned int>(offset) - previous);
    }
    return signs >> 31U == 0;
}

// Reads as `std::istream::read` does, with the same states and exceptions, but prepares the stream
// once for all blocks of a sample and leaves `gcount()` alone.
class BlockSource {
  public:
    explicit BlockSource(std::istream& in)
        : in(in), isReady(NeedsNothing(in) || std::istream::sentry(in, true)) {}

    // The number of bytes read.
    std::size_t Read(char* to, std::size_t bytes) {
        if (!isReady) {
            in.setstate(std::ios::failbit);
            return 0;
        }
        std::size_t got = 0;
        try {
            got = static_cast<std::size_t>(
                in.rdbuf()->sgetn(to, static_cast<std::streamsize>(bytes)));
        } catch (const abi::__forced_unwind&) {
            throw;
        } catch (...) {
            isReady = false;
            OnThrow(in);
            return 0;
        }
        if (got != bytes) {
            isReady = false;
            in.setstate(std::ios::eofbit | std::ios::failbit);
        }
        return got;
    }

    // Bytes that the stream says it has.
    std::size_t GetAvailable() const {
        const std::streamsize available = in.rdbuf() == nullptr ? 0 : in.rdbuf()->in_avail();
        return available > 0 ? static_cast<std::size_t>(available) : 0;
    }

  private:
    std::istream& in;
    bool isReady;
};

// A block of this size or less is as it was after a stream has thrown.
constexpr std::size_t maxKept = 512;

// Elements that are read in place, in one call. Few are kept meanwhile; many are not, which takes
// no memory. Copying what was read would take longer: it would wait for bytes just written.
class ElementReader {
  public:
    ElementReader(char* elements, std::size_t size)
        : elements(elements), size(size), isKept(size <= former.size()) {
        if (isKept) {
            CopyBytes(former.data(), elements, size);
        }
    }
    ElementReader(const ElementReader&) = delete;
    ElementReader& operator=(const ElementReader&) = delete;
    // Missing bytes keep their former values.
    ~ElementReader() {
        if (isKept) {
            CopyBytes(elements + got, former.data() + got, size - got);
        }
    }

    void Read(BlockSource& source) {
        // No elements have no memory.
        got = source.Read(elements != nullptr ? elements : former.data(), size);
    }

  private:
    std::array<char, maxKept> former;
    char* elements;
    std::size_t size;
    std::size_t got = 0;
    bool isKept;
};

struct Elements {
    std::unique_ptr<char[]> bytes;
    std::size_t size;
};

// Reads `promised` bytes, a number that is not trusted, in one read if possible.
//
// Memory is allocated for bytes that were received, that the stream has, or that are few. After a
// short read, zeros follow up to `formerSize` bytes.
Elements ReadElements(BlockSource& source, std::size_t promised, std::size_t formerSize) {
    constexpr std::size_t minChunk = 65536;
    std::size_t size = promised;
    if (promised > std::max(minChunk, formerSize)) {
        size = std::min(promised, std::max({minChunk, formerSize, source.GetAvailable()}));
    }
    auto bytes = std::make_unique_for_overwrite<char[]>(size);
    std::size_t got = source.Read(bytes.get(), size);
    const auto resize = [&](std::size_t newSize) {
        auto resized = std::make_unique_for_overwrite<char[]>(newSize);
        CopyBytes(resized.get(), bytes.get(), got);
        bytes = std::move(resized);
        size = newSize;
    };
    while (got == size && size < promised) {
        resize(std::min(promised, 2 * size));
        got += source.Read(bytes.get() + got, size - got);
    }
    if (const std::size_t kept = std::min(promised, std::max(got, formerSize)); kept < size) {
        resize(kept);
    }
    std::memset(bytes.get() + got, 0, size - got);
    return {std::move(bytes), size};
}

}  // namespace

// Holds a sample's memory while a stream is read into it, and returns it at the end: the stream may
// call the host, which must not see unchecked offsets.
class Sample::BinaryReader {
  public:
    explicit BinaryReader(Sample& sample)
        : sample(sample),
          streamType(sample.streamType),
          total(sample.TotalSize()),
          data(std::move(sample.data)),
          offsets(std::move(sample.offsets)),
          numOffsets(std::exchange(sample.numOffsets, 0)) {}
    BinaryReader(const BinaryReader&) = delete;
    BinaryReader& operator=(const BinaryReader&) = delete;
    ~BinaryReader() {
        if (!hasOffsets) {
            SetOffsets(reinterpret_cast<const char*>(offsets.get()));
        }
        sample.streamType = streamType;
        sample.data = std::move(data);
        sample.offsets = std::move(offsets);
        sample.numOffsets = numOffsets;
    }

    // Reads a sample that is in memory, complete and sound, all at once; else nothing.
    static bool ReadFromMemory(std::istream& in, Sample& sample) {
        const std::string_view bytes = BytesInMemory(in);
        const std::size_t tableSize = sample.numOffsets * sizeof(unsigned int);
        if (tableSize == 0 || bytes.size() < tableSize) {
            return false;
        }
        const char* const table = bytes.data();
        const auto total = traits::Load<unsigned int>(table + tableSize - sizeof(unsigned int));
        if (bytes.size() - tableSize < total) {
            return false;
        }
        // Most samples of a type have the same sizes.
        if (std::memcmp(table, sample.offsets.get(), tableSize) != 0) {
            if (!DoAscend(table, sample.numOffsets)) {
                return false;
            }
            if (total != sample.TotalSize()) {
                sample.data = std::make_unique_for_overwrite<char[]>(total);
            }
            std::memcpy(sample.offsets.get(), table, tableSize);
        }
        CopyBytes(sample.data.get(), table + tableSize, total);
        GetArea::Skip(*in.rdbuf(), tableSize + total);
        return true;
    }

    // A call of its own would cost a tenth of the reading of a small sample.
    [[gnu::always_inline]] void Read(std::istream& in) {
        BlockSource source(in);
        const std::size_t tableSize = numOffsets * sizeof(unsigned int);
        char* const former = reinterpret_cast<char*>(offsets.get());
        // A small table is read aside.
        std::array<char, maxKept> aside;
        char* const table = tableSize <= aside.size() ? aside.data() : former;
        const std::size_t got = source.Read(table, tableSize);
        if (table != former) {
            CopyBytes(table + got, former + got, tableSize - got);
            // Most samples of a type have the same sizes.
            hasOffsets = tableSize != 0 && std::memcmp(table, former, tableSize) == 0;
        }
        const std::size_t promised =
            tableSize == 0 ? 0
                           : traits::Load<unsigned int>(table + tableSize - sizeof(unsigned int));
        if (promised == total) {
            ElementReader(data.get(), total).Read(source);
        } else {
            Elements elements = ReadElements(source, promised, total);
            data = std::move(elements.bytes);
            total = static_cast<unsigned int>(elements.size);
        }
        if (!hasOffsets) {
            SetOffsets(table);
        }
    }

  private:
    // Sets the offsets to those of a table, but lets them ascend up to the end of the data, so that
    // no entry leaves the memory or has a negative length.
    void SetOffsets(const char* table) {
        hasOffsets = true;
        // What few bytes just written hold is read faster one by one than together.
        constexpr std::uint32_t maxSingly = 16;
        if (numOffsets > maxSingly && DoAscend(table, numOffsets) &&
            traits::Load<unsigned int>(table + (numOffsets - 1) * sizeof(unsigned int)) <= total) {
            if (table != reinterpret_cast<const char*>(offsets.get())) {
                std::memcpy(offsets.get(), table, numOffsets * sizeof(unsigned int));
            }
            return;
        }
        unsigned int previous = 0;
        for (std::uint32_t i = 0; i < numOffsets; ++i) {
            const auto offset = traits::Load<unsigned int>(table + i * sizeof(unsigned int));
            previous = std::max(previous, std::min(offset, total));
            offsets[i] = previous;
        }
    }

    Sample& sample;
    StreamType* streamType;
    unsigned int total;
    std::unique_ptr<char[]> data;
    std::unique_ptr<unsigned int[]> offsets;
    std::uint32_t numOffsets;
    bool hasOffsets = false;
};

void Sample::Deserialize(std::istream& in) {
    if (!BinaryReader::ReadFromMemory(in, *this)) {
        BinaryReader(*this).Read(in);
    }
}

void Sample::Serialize(std::ostream& out) const {
    const auto tableSize = static_cast<std::streamsize>(numOffsets * sizeof(unsigned int));
    const char* const table = reinterpret_cast<const char*>(offsets.get());
    if (out.tie() != nullptr || (out.flags() & std::ios::unitbuf) != 0) {
        out.write(table, tableSize);
        out.write(data.get(), TotalSize());
        return;
    }
    // Nothing is to be done between the blocks.
    const std::ostream::sentry isReady(out);
    if (isReady) {
        if (WriteBlock(out, table, tableSize)) {
            WriteBlock(out, data.get(), TotalSize());
        } else {
            out.write(data.get(), TotalSize());
        }
    }
}

unsigned int Sample::GetSerializedSizeInBytes() const {
    const std::uint64_t size = std::uint64_t{TotalSize()} + numOffsets * sizeof(unsigned int);
    SampleAccess::CheckTotal(size);
    return static_cast<unsigned int>(size);
}

}  // namespace velmora::core::tessaryn

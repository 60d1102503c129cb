// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "support/allocation_probe.h"
#include "support/sample_model.h"
#include "tessaryn/sample_check.h"

#include <Poco/MemoryStream.h>
#include <gtest/gtest.h>

#include <array>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using namespace test;

const Poco::Timestamp longAgo(1);

const std::string golden(
    "\x00\x00\x00\x00\x08\x00\x00\x00\x0B\x00\x00\x00"  // offsets 0, 8, 11
    "\x01\x00\x00\x00\xFF\xFF\xFF\xFF"                  // Int32 1, -1
    "abc",
    23);

TEST(SampleBinary, CutShortLeavesWhatWasThereOrWithAThrowEverything) {
    struct Case {
        std::string former;
        std::size_t length;
        std::string expected;
    };
    const std::string table = golden.substr(0, 12);
    const std::string eightZeros(8, '\0');
    const Case cases[] = {
        {"old", 0, BinaryForm({"12345678", "old"})},
        {"old", 7, BinaryForm({"12345678", "old"})},
        {"old", 14, table + golden.substr(12, 2) + "345678old"},
        {"old", 22, golden.substr(0, 22) + "d"},
        // A shorter or longer block is a new one; beyond the former length only what came counts.
        {"older", 22, golden.substr(0, 22) + '\0'},
        {"", 14, BinaryForm({golden.substr(12, 2) + eightZeros.substr(2), ""})},
        {"", 22, BinaryForm({golden.substr(12, 8), "ab"})},
        {"", 23, golden},
    };
    TestType layout({{"x", Int32, 2}, {"s", String, 0}});
    for (const Case& tested : cases) {
        SCOPED_TRACE(tested.former + ", " + std::to_string(tested.length));
        Sample sample(&layout.type, longAgo);
        ReadBinary(sample, BinaryForm({"12345678", tested.former}));
        const std::string before = BinaryOf(sample);
        std::istringstream in(golden.substr(0, tested.length));
        in.exceptions(std::ios::failbit);
        if (tested.length < golden.size()) {
            EXPECT_THROW(sample.Deserialize(in), std::ios::failure);
            EXPECT_EQ(BinaryOf(sample), before);
        }
        std::istringstream more(golden.substr(0, tested.length) +
                                (tested.length == golden.size() ? "more" : ""));
        EXPECT_NO_THROW(sample.Deserialize(more));
        EXPECT_EQ(BinaryOf(sample), tested.expected);
        EXPECT_EQ(sample.GetTimeStamp(), longAgo);
    }
}

// Reads in blocks as they are asked for, and does not say how many bytes there are.
class Pipe : public std::streambuf {
  public:
    explicit Pipe(std::string content) : bytes(std::move(content)) {}
    int reads = 0;

  protected:
    std::streamsize xsgetn(char* to, std::streamsize count) override {
        ++reads;
        const std::size_t got = bytes.copy(to, static_cast<std::size_t>(count), position);
        position += got;
        return static_cast<std::streamsize>(got);
    }

  private:
    std::string bytes;
    std::size_t position = 0;
};

TEST(SampleBinary, TakesMemoryOnlyForBytesThatCome) {
    TestType layout({{"x", Int32, 2}, {"s", String, 0}});
    const std::string large = BinaryForm({"12345678", std::string(300000, 'x')});
    for (const bool isShort : {false, true}) {
        std::string bytes = large;
        if (isShort) {
            bytes = BytesOf(0U) + BytesOf(8U) + BytesOf(~0U) + large.substr(12);
        }
        Sample sample(&layout.type, longAgo);
        Pipe pipe(bytes);
        std::istream in(&pipe);
        sample.Deserialize(in);
        EXPECT_EQ(BinaryOf(sample), large);
        EXPECT_EQ(in.eof(), isShort);

        std::stringbuf known(bytes);
        std::istream all(&known);
        sample.Deserialize(all);
        EXPECT_EQ(BinaryOf(sample), large);
    }
}

TEST(SampleBinary, OfTheSameLengthIsReadTwiceWithoutAllocation) {
    const std::pair<std::size_t, unsigned int> entriesAndElements[] = {
        {1, 0}, {1, 1}, {2, 600}, {200, 1}, {300, 20}, {1, 1000000}};
    for (const auto& [entries, elements] : entriesAndElements) {
        TestType layout({});
        for (std::size_t i = 0; i < entries; ++i) {
            layout.type.Add(std::to_string(i), UInt8, elements);
        }
        const std::string bytes =
            BinaryForm(std::vector<std::string>(entries, std::string(elements, 'x')));
        Sample sample(&layout.type, longAgo);
        Pipe pipe(bytes);
        std::istream in(&pipe);
        const AllocationProbe probe;
        sample.Deserialize(in);
        EXPECT_EQ(AllocationProbe::Count(), 0) << entries << " entries of " << elements;
        EXPECT_EQ(pipe.reads, 2);
        EXPECT_EQ(BinaryOf(sample), bytes);
    }
}

// The sample, the state of the stream, and what the stream still has.
std::string ReadAll(std::istream& in, const Sample& former) {
    Sample sample(former);
    sample.Deserialize(in);
    const auto state = std::to_string(in.rdstate());
    std::array<char, 8> rest{};
    const auto length = in.rdbuf()->sgetn(rest.data(), rest.size());
    return BinaryOf(sample) + " state " + state + " then " +
           std::string(rest.data(), static_cast<std::size_t>(length));
}

TEST(SampleBinary, IsReadFromMemoryAsFromAnyBuffer) {
    for (const std::size_t texts : {1U, 30U}) {
        TestType layout({{"x", Int32, 2}});
        for (std::size_t i = 0; i < texts; ++i) {
            layout.type.Add("s" + std::to_string(i), String, 0);
        }
        const auto form = [texts](const std::string& x, const std::string& text) {
            std::vector<std::string> entries(texts + 1, text);
            entries.front() = x;
            return BinaryForm(entries);
        };
        Sample former(&layout.type, longAgo);
        ReadBinary(former, form("12345678", "abc"));
        const std::string same = form("87654321", "ABC");
        std::string descending = same;
        descending.replace(4, 4, BytesOf(~0U));
        for (const std::string& bytes :
             {same, same + "more", form("", ""), form("", "") + "x", form("12345678", "longer"),
              form("1234", "a") + "more", descending, descending + "more",
              same.substr(0, same.size() - 1), same.substr(0, 7), std::string()}) {
            Pipe pipe(bytes);
            std::istream any(&pipe);
            const std::string expected = ReadAll(any, former);
            std::istringstream text(bytes);
            EXPECT_EQ(ReadAll(text, former), expected);
            Poco::MemoryInputStream memory(bytes.data(),
                                           static_cast<std::streamsize>(bytes.size()));
            EXPECT_EQ(ReadAll(memory, former), expected);
            std::istringstream waiting(bytes);
            std::ostringstream tied;
            waiting.tie(&tied);
            EXPECT_EQ(ReadAll(waiting, former), expected);
        }
    }
}

TEST(SampleBinary, InMemoryIsNotReadFromAStreamThatFailed) {
    TestType layout({{"x", UInt8, 3}});
    Sample sample(&layout.type, longAgo);
    const std::string before = BinaryOf(sample);
    std::istringstream in(BinaryForm({"abc"}));
    in.setstate(std::ios::eofbit);
    sample.Deserialize(in);
    EXPECT_EQ(BinaryOf(sample), before);
    EXPECT_EQ(in.rdstate(), std::ios::eofbit | std::ios::failbit);
}

// Refuses a write by its number from 0, by a throw or a shorter count, and counts writes and syncs.
class Refusing : public std::stringbuf {
  public:
    Refusing(int refused, bool throws) : refused(refused), throws(throws) {}
    int writes = 0;
    int syncs = 0;

  protected:
    std::streamsize xsputn(const char* from, std::streamsize count) override {
        if (writes++ != refused) {
            return std::stringbuf::xsputn(from, count);
        }
        if (throws) {
            throw std::runtime_error("refused");
        }
        return std::stringbuf::xsputn(from, count - 1);
    }
    int sync() override {
        ++syncs;
        return 0;
    }

  private:
    int refused;
    bool throws;
};

// What two writes of a sample's parts leave, or one of the sample.
std::string WriteAll(const Sample* sample, Refusing& buffer, std::ios::iostate raised,
                     std::ios::fmtflags flags) {
    std::ostream out(&buffer);
    out.exceptions(raised);
    out.setf(flags);
    std::string thrown;
    try {
        if (sample != nullptr) {
            sample->Serialize(out);
        } else {
            out.write(golden.data(), 12);
            out.write(golden.data() + 12, 11);
        }
    } catch (const std::exception& error) {
        thrown = error.what();
    }
    return buffer.str() + ' ' + std::to_string(out.rdstate()) + ' ' + thrown + ' ' +
           std::to_string(buffer.writes) + ' ' + std::to_string(buffer.syncs);
}

TEST(SampleBinary, IsWrittenAsTwoWritesAre) {
    TestType layout({{"x", Int32, 2}, {"s", String, 0}});
    Sample sample(&layout.type, longAgo);
    ReadBinary(sample, golden);
    for (const int refused : {-1, 0, 1}) {
        for (const bool throws : {false, true}) {
            for (const auto raised : {std::ios::goodbit, std::ios::failbit, std::ios::badbit}) {
                for (const auto flags : {std::ios::dec, std::ios::unitbuf}) {
                    Refusing one(refused, throws);
                    Refusing other(refused, throws);
                    EXPECT_EQ(WriteAll(&sample, one, raised, flags),
                              WriteAll(nullptr, other, raised, flags))
                        << refused << throws << raised << flags;
                }
            }
        }
    }
}

// Uses the sample that is being read, as a host's stream may.
class Reentrant : public Pipe {
  public:
    Reentrant(const std::string& bytes, Sample& sample) : Pipe(bytes), sample(sample) {}

  protected:
    std::streamsize xsgetn(char* to, std::streamsize count) override {
        EXPECT_EQ(sample.GetSize(0), 0U);
        const std::streamsize got = Pipe::xsgetn(to, count);
        EXPECT_THROW(sample.GetUInt8(0, 0), std::out_of_range);
        EXPECT_EQ(BinaryOf(sample), "");
        sample = Sample();
        return got;
    }

  private:
    Sample& sample;
};

TEST(SampleBinary, MayBeUsedByTheStreamThatItIsReadFrom) {
    for (const unsigned int elements : {3U, 3000U}) {
        TestType layout({{"x", UInt8, elements}});
        Sample sample(&layout.type, longAgo);
        const std::string bytes = BinaryForm({std::string(elements, 'x')});
        Reentrant buffer(bytes, sample);
        std::istream in(&buffer);
        in.exceptions(std::ios::badbit);
        sample.Deserialize(in);
        EXPECT_EQ(BinaryOf(sample), bytes);
        EXPECT_EQ(sample.GetUInt8(0, 0), 'x');
    }
}

// A large block is read in place: what a throw leaves is some of each, within the memory.
TEST(SampleBinary, ThatThrowsLeavesASampleThatCanBeUsed) {
    TestType layout({});
    for (int i = 0; i < 300; ++i) {
        layout.type.Add(std::to_string(i), Int32, 1);
    }
    for (const std::size_t length : {100U, 1204U, 1300U}) {
        Sample sample(&layout.type, longAgo);
        std::istringstream in(std::string(length, '\xFF'));
        in.exceptions(std::ios::failbit);
        EXPECT_THROW(sample.Deserialize(in), std::ios::failure);
        samples::PartsOf(BinaryOf(sample), layout.type);
        for (unsigned short entry = 0; entry < 300; ++entry) {
            sample.Resize(entry, 1);
            sample.Set(entry, 0, 7);
        }
        EXPECT_EQ(sample.GetInt32(299, 0), 7);
    }
}

TEST(SampleBinary, WithAnyOffsetsStaysInItsMemory) {
    struct Case {
        std::array<unsigned int, 3> offsets;
        std::array<unsigned int, 3> kept;
    };
    const Case cases[] = {
        {{0, 8, 6}, {0, 6, 6}},       {{6, 2, 8}, {6, 6, 8}},   {{~0U, ~0U, 3}, {3, 3, 3}},
        {{5, ~0U, ~0U}, {5, 11, 11}}, {{0, 3, 11}, {0, 3, 11}},
    };
    TestType layout({{"x", Int32, 2}, {"s", String, 0}});
    for (const Case& tested : cases) {
        Sample sample(&layout.type, longAgo);
        std::string bytes;
        std::string expected;
        for (std::size_t i = 0; i < 3; ++i) {
            bytes += BytesOf(tested.offsets[i]);
            expected += BytesOf(tested.kept[i]);
        }
        ReadBinary(sample, bytes + "12345678abc");
        EXPECT_EQ(BinaryOf(sample),
                  expected + std::string("12345678abc").substr(0, tested.kept[2]));
        sample.Resize(0, 2);
        sample.Set(0, 1, 7);
        sample.Set(1, "new");
        EXPECT_EQ(sample.GetInt32(0, 1), 7);
        EXPECT_EQ(sample.GetString(1), "new");
    }
}

TEST(SampleCheck, SaysWhatIsWrongBeforeASampleIsTouched) {
    TestType layout({{"x", Int32, 2}, {"s", String, 0}});
    const auto bytes = [](unsigned int first, unsigned int second, unsigned int third) {
        return BytesOf(first) + BytesOf(second) + BytesOf(third) + "12345678abc";
    };
    const std::pair<std::string, std::string> cases[] = {
        {golden, ""},
        {BinaryForm({"", ""}), ""},
        {golden.substr(0, 11), "The offsets take 12 bytes, but there are only 11."},
        {bytes(1, 8, 11), "The first entry begins at byte 1, not at 0."},
        {bytes(0, 8, 6), "Entry 's' ends at byte 6, before it begins at byte 8."},
        {bytes(0, 7, 11), "Entry 'x' has 7 bytes, which elements of 4 bytes don't fill."},
        {bytes(0, 8, 10), "The entries end at byte 10, but there are 11 bytes of elements."},
        {bytes(0, 8, 12), "The entries end at byte 12, but there are 11 bytes of elements."},
        {bytes(0, 4, 11), "Entry 's' has 7 elements: more than the limit of 5."},
        {BinaryForm({std::string(100, 'x'), ""}),
         "The sample has 112 bytes: more than the limit of 100."}};
    for (const auto& [block, message] : cases) {
        EXPECT_EQ(CheckSample(block, layout.type, {100, 5}), message);
    }
    EXPECT_EQ(CheckSample(BinaryForm({std::string(100, 'x'), ""}), layout.type), "");
}

}  // namespace
}  // namespace velmora::core::tessaryn

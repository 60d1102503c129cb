// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "storage/document.h"

#include "storage/document_file.h"
#include "storage/storage_exception.h"
#include "support/all_types.h"
#include "support/folder.h"
#include "support/thrown.h"
#include "tessaryn/stream.h"
#include "tessaryn/stream_type.h"

#include <Poco/Logger.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace velmora::storage {
namespace {

using namespace core::tessaryn;
using test::AllTypes;
using test::ContentOf;
using test::PushAllTypes;

TEST(Document, ContinuesAfterAnyNumberOfRestarts) {
    const test::Folder folder;
    const StreamType layout = AllTypes();
    for (const char* const name : {"plant.xml", "plant.JSON"}) {
        const std::string path = folder.PathOf(name);
        Document kept = OpenDocument(path);
        for (int start = 0; start < 4; ++start) {
            Document document = OpenDocument(path);
            EXPECT_EQ(ContentOf(document), ContentOf(kept)) << name << start;
            for (Document* const each : {&document, &kept}) {
                for (const char* const stream : {"hall 1/line/a", "hall 1/b", "c.d/<&>"}) {
                    // The ring wraps, times step backwards, and the first are before 1970.
                    for (int push = 0; push < 4; ++push) {
                        const int number = 4 * start + push;
                        PushAllTypes(
                            OpenStream(*each, stream, layout, 9), number,
                            (number - 6) * 1'000'003LL - (number % 3) * 5'000'000'000'000LL);
                    }
                }
            }
            SaveDocument(path, document);
        }
        kept = NewDocument();
        EXPECT_TRUE(kept.streams->IsEmpty());
    }
}

TEST(Document, GivesAContinuedStreamTheSizesOfTheHost) {
    Document document = NewDocument();
    StreamType layout;
    layout.Add("x", Int32, 1);
    Stream& first = OpenStream(document, "plant/s", layout, 3);
    for (int x = 0; x < 4; ++x) {
        first.PushNew([&](Sample& sample) { sample.Set(0, 0, x); });
    }
    EXPECT_EQ(&OpenStream(document, "plant/s", layout, 3), &first);
    EXPECT_EQ(OpenStream(document, "plant/s", layout, 2).GetMaxSize(), 2);
    StreamType wider;
    wider.Add("x", Int32, 2);
    Stream& second = OpenStream(document, "plant/s", wider, 2);
    second.GetAllInPushOrder([](const std::vector<Sample*>& samples) {
        ASSERT_EQ(samples.size(), 2U);
        EXPECT_EQ(samples[0]->GetInt32(0, 0), 2);
        EXPECT_EQ(samples[1]->GetInt32(0, 0), 3);
        EXPECT_EQ(samples[1]->GetSize(0), 1U);
    });
    second.PushNew([](Sample& sample) { sample.Set(0, 1, 5); });
    EXPECT_EQ(second.GetStreamType()->GetFullName(), "plant.s");
    EXPECT_EQ(second.GetStreamType()->GetVersion().ToString(), "2.0.0");
}

TEST(Document, CanBeSavedAfterAStreamWasRefused) {
    const test::Folder folder;
    const std::string path = folder.PathOf("plant.xml");
    const std::pair<std::string, std::string> refused[] = {{"plant/a", "plant.a"},
                                                           {"plant.a", "plant/a"},
                                                           {"plant/line.a", "plant.line/a"},
                                                           {"plant.line/a", "plant/line.a"}};
    for (const auto& [name, other] : refused) {
        Document document = NewDocument();
        OpenStream(document, "first", AllTypes(), 2);
        PushAllTypes(OpenStream(document, name, AllTypes(), 2), 1, 1);
        const auto before = ContentOf(document);
        EXPECT_THAT(test::MessageOf<std::invalid_argument>(
                        [&] { OpenStream(document, other, AllTypes(), 2); }),
                    testing::StartsWith("Two types would have the full name of that of stream"));
        EXPECT_ANY_THROW(OpenStream(document, "none", AllTypes(), 0));
        EXPECT_EQ(document.types->GetPtr("none"), nullptr);
        SaveDocument(path, document);
        EXPECT_EQ(ContentOf(LoadDocument(path)), before);
        OpenStream(document, "plant/b", AllTypes(), 2);
    }
}

TEST(Document, ReadsThePlainFormOfTheRepositories) {
    const test::Folder folder;
    Document document = NewDocument();
    Stream& stream = OpenStream(document, "plant/s", AllTypes(), 2);
    PushAllTypes(stream, 4, 1'000'000);
    core::serialization::NodeTree tree;
    const core::serialization::NodeSerializer serializer;
    auto node = tree.GetRoot().AddNode("StreamTypeRepository", core::serialization::NodeElement);
    document.types->Serialize(serializer, node);
    node = tree.GetRoot().AddNode("StreamRepository", core::serialization::NodeElement);
    document.streams->Serialize(serializer, node);
    for (const char* const name : {"plain.xml", "plain.json"}) {
        SaveTree(folder.PathOf(name), tree);
        Document plain = LoadDocument(folder.PathOf(name));
        // It does not have the initial sizes, which the host gives it again.
        Stream& again = OpenStream(plain, "plant/s", AllTypes(), 2);
        EXPECT_EQ(again.GetNumSamples(), 1);
        again.GetLatest([](const Sample& sample) {
            EXPECT_EQ(sample.GetTimeStamp(), Poco::Timestamp(1'000'000));
            EXPECT_EQ(sample.GetInt16(2, 1), 32767);
        });
        again.PushNew([](Sample& sample) { sample.Set(12, 2, short{1}); });
    }
}

TEST(Document, RefusesWhatItCannotReadOrWrite) {
    const test::Folder folder;
    const std::string json = folder.Write("no.json", "{\"Tree\": {}}");
    const std::string cut = folder.Write("cut.xml", "<Tree>");
    const std::string none = folder.PathOf("none.xml");
    const std::string text = folder.Write("plant.txt", "");
    const std::pair<std::string, std::string> cases[] = {
        {json, json + ": /: there is neither StreamTypeRepository nor StreamRepository"},
        {cut, cut + ": The XML document cannot be read at line 1, column 7: no element found"},
        {none, "cannot read " + none + ": No such file or directory"},
        {folder.PathOf(""), "'" + folder.PathOf("") + "' does not end in .xml or .json"},
        {text, "'" + text + "' does not end in .xml or .json"},
    };
    for (const auto& [path, message] : cases) {
        EXPECT_EQ(test::MessageOf<StorageException>([&] { LoadDocument(path); }), message);
    }
    // A document refers to types by full name and version.
    Document document = NewDocument();
    StreamType type(utils::Version(1, 0, 0), document.types->Add("plant"));
    document.streams->AddStream("s", &type, 1);
    EXPECT_EQ(test::MessageOf<StorageException>([&] { SaveDocument(cut, document); }),
              "cannot write " + cut +
                  ": the type of stream 's' would not be found again by full "
                  "name and version");
    EXPECT_EQ(folder.Read("cut.xml"), "<Tree>");
}

}  // namespace
}  // namespace velmora::storage

// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// The configuration of the service, checked with "tessaryn serve --check-config".

#include "process.h"
#include "remote/nats_source.h"

#include <cctype>
#include <fstream>
#include <sys/stat.h>

namespace velmora::tool {
namespace {

using testing::HasSubstr;

constexpr const char* source = "[source.store]\nfrom = 'store.csv'\n";

Outcome Check(const std::string& config) {
    const Folder folder;
    Outcome outcome = RunTool("serve --check-config --config " + folder.Write("p", config));
    // The path differs from run to run.
    const std::string path = folder.PathOf("p");
    for (std::string* const text : {&outcome.out, &outcome.err}) {
        for (std::size_t at = 0; (at = text->find(path)) != std::string::npos;) {
            text->replace(at, path.size(), "p");
        }
    }
    return outcome;
}

TEST(ServeConfig, AcceptsAllKindsOfValues) {
    const Outcome run = Check(R"(# comment
title = "Cold \store" # another
capacity = 500

[page]
listen = [1]
)");
    EXPECT_EQ(run.err,
              "p: there is no source; a section [source.NAME] with a key from has one\n"
              "p:6: listen is one value, not a list\n");
    const Outcome good = Check(R"(title = "Cold # store"
[page]
listen = "[::1]:0"
hosts = [
  "plant.example.org",  # a name
  'other',
]
[history]
file = "plant.db"
max-age = 90d
max-size = 2GiB
[checkpoint]
file = 'plant.json'
every = 5m
[source.store]
from = "/var/log/store.csv"
types = ["temperature:Double", 'note:String']
[stream.store]
path = store
entries = [temperature:Double]
units = ["temperature:°C"]
[rule.warm]
rule = 'temperature > 8.0 && note == "#1, \2"'
streams = ["store", "plant/*"]
hold = 3s
at-most = 1/10s
deadband = temperature:0.5
do = [log, mail, ops]
[rule.faults]
rule = 'note == "fault"'
on = begin
[command.mail]
run = ["/bin/echo", "a b", 'it is "so"']
timeout = 10s
[webhook.ops]
url = "http://127.0.0.1:1/alarm"
)");
    EXPECT_EQ(good.err, "");
    EXPECT_EQ(good.out, "p: 1 source and 2 rules, no mistakes\n");
    EXPECT_EQ(good.status, 0);
}

TEST(ServeConfig, ReportsEachMistakeWithItsLine) {
    struct Case {
        const char* text;  ///< follows a source of two lines
        const char* mistake;
    };
    const Case cases[] = {
        {"tile", "p:3: 'tile' is neither \"key = value\" nor a [section]"},
        {"= 3", "p:3: '' is not a key"},
        {"stream =", "p:3: stream has no value"},
        {"strem = a", "p:3: [source.store] has no key 'strem'; did you mean 'stream'?"},
        {"from = x", "p:3: from is in line 2 already"},
        {"stream = \"a", "p:3: the quote is not closed"},
        {"stream = a b", "p:3: the value of stream is not one text"},
        {"stream = 'a' b", "p:3: there is text behind a closing quote"},
        {"stream = a'b'", "p:3: there is a quote inside a value"},
        {"stream = \"a\\\"b\"", "p:3: a backslash before a quote is not read"},
        {"types = [\n'a:Double',\nzone = UTC", "p:3: the list is not closed"},
        {"types = ['a:Dobule']", "p:3: 'a:Dobule': there is no type 'Dobule'"},
        {"types = ['a:Bool', 'a:Int8']", "p:3: 'a' is there twice"},
        {"stream = 'a/*'", "p:3: 'a/*' is a pattern; there it must be one stream"},
        {"zone = Mars/Base", "p:3: "},
        {"speed = 2", "p:1: speed, loop and keep-times need replay = true"},
        {"replay = maybe", "p:3: replay 'maybe' is neither true nor false"},
        {"[rule]", "p:3: [rule] needs a name, as in [rule.one]"},
        {"[page.main]", "p:3: [page] has no name behind a dot"},
        {"[rules.a]", "p:3: there is no section 'rules'; did you mean 'rule'?"},
        {"[rule.a b]", "p:3: '[rule.a b]' is not a section"},
        {"[source.store]\nfrom = b", "p:3: the section is in line 1 already"},
        {"[source.b]\nfrom = 'natz://x'", "p:4: there is no kind of source 'natz'"},
        {"[rule.a]\ndo = [log]", "p:3: [rule.a] needs rule"},
        {"[rule.a]\nrule = 'x >'", "p:4: rule 'x >'"},
        {"[rule.a]\nrule = x\ndo = [mali]\n[command.mail]\nrun = [/bin/true]",
         "p:3: rule 'a': there is no action 'mali'; did you mean 'mail'?"},
        {"[rule.a]\nrule = x\nhold = 3s\non = end", "p:5: hold is for on = match"},
        {"[rule.a]\nrule = x\nat-most = 3s", "p:5: at-most '3s' is not a number of lines"},
        {"[rule.a]\nrule = x\nstreams = ['a//b']", "p:5: 'a//b' is not a pattern"},
        {"[command.a]\nrun = [mail]", "p:4: the program 'mail' is not an absolute path"},
        {"[command.a]\nrun = [/no/such]", "p:4: cannot run '/no/such': No such file"},
        {"[command.a]\nrun = []", "p:4: run is empty"},
        {"[command.log]\nrun = [/bin/true]", "p:3: \"log\" is an action that is there already"},
        {"[webhook.a]\nurl = 'ftp://x/'", "p:4: url 'ftp://x/' is not of the form"},
        {"[history]\nfile = 'a.json'", "p:4: file 'a.json' does not end in .db"},
        {"[history]\nfile = a.db\nmax-size = big", "p:5: max-size 'big' is not a number of bytes"},
        {"[history]\nfile = a.db\nmax-rows = 0", "p:5: max-rows '0' is not an integer from 1"},
        {"[checkpoint]\nfile = 'a.db'", "p:4: file 'a.db' does not end in .xml or .json"},
        {"[page]\nlisten = 0.0.0.0:80", "p:4: others than this machine reach '0.0.0.0'"},
        {"[page]\nlisten = '127.0.0.1'", "p:4: listen '127.0.0.1' is neither an address"},
        {"[page]\nlisten = '127.0.0.1:70000'", "p:4: listen '127.0.0.1:70000' is neither"},
        {"[page]\ntoken-file = /no/such", "p:4: cannot read the token file '/no/such'"},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.text);
        const Outcome run = Check(source + std::string(each.text));
        EXPECT_EQ(run.status, 2);
        EXPECT_THAT(run.err, testing::StartsWith(each.mistake));
    }
}

TEST(ServeConfig, ReportsAllMistakesInTheOrderOfLines) {
    const Outcome run = Check(
        "capacity = none\n[rule.a]\nrule = 'temperature >'\n"
        "do = [post]\n[source.a]\nfrmo = x\n");
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.err, testing::MatchesRegex("p:1: capacity [^\n]*\np:2: [^\n]*'post'[^\n]*\n"
                                               "p:3: rule [^\n]*\n(  [^\n]*\n)*"
                                               "p:5: [^\n]*needs from\np:6: [^\n]*'from'[^\n]*\n"));
}

TEST(ServeConfig, AcceptsTheExampleAndAllItsKeys) {
    std::ifstream file(EXAMPLE_PLANT);
    std::string asItIs;
    std::string withAllKeys;
    for (std::string line; std::getline(file, line);) {
        asItIs += line + "\n";
        const bool isExample =
            line.size() > 1 && line[0] == '#' && (line[1] == '[' || std::islower(line[1]) != 0);
        withAllKeys += line.substr(isExample ? 1 : 0) + "\n";
    }
    EXPECT_EQ(Check(asItIs).out, "p: 1 source and 1 rule, no mistakes\n");
    const Outcome run = Check(withAllKeys);
    EXPECT_EQ(run.status == 0, HasNats());
    if (!HasNats()) {
        EXPECT_THAT(run.err, HasSubstr("this program was built without NATS"));
        return;
    }
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(run.out, "p: 6 sources and 2 rules, no mistakes\n");
}

TEST(ServeConfig, RefusesATokenThatOthersMayRead) {
    const Folder folder;
    const std::string file = folder.Write("token", "0123456789abcdef\n");
    chmod(file.c_str(), 0644);
    const std::string page = source + ("[page]\nlisten = 0.0.0.0:0\ntoken-file = " + file);
    EXPECT_THAT(Check(page).err, HasSubstr("p:5: everybody may read the token file"));
    chmod(file.c_str(), 0640);
    EXPECT_EQ(Check(page).status, 0);
    folder.Write("token", "short\n");
    EXPECT_THAT(Check(page).err, HasSubstr("at least 16 printable characters"));
}

TEST(ServeConfig, IsAlsoCheckedWhenTheServiceStarts) {
    const Folder folder;
    ExpectFailure("serve --config " + folder.PathOf("none"), "none: cannot be read: No such file");
    ExpectFailure("serve --config " + folder.PathOf(""), "cannot be read: Is a directory");
    ExpectFailure("serve --config " + folder.Write("p", "[page]\n"), "there is no source");
}

}  // namespace
}  // namespace velmora::tool

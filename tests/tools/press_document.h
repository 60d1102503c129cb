// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <string>

namespace velmora::tool {

/// A document of another program: groups, two versions of a type, ":" as the separator.
inline const std::string pressDocument = R"(<Tree>
  <StreamTypeRepository><GroupSeparator>:</GroupSeparator>
    <Group><Name flags="10" text="empty"/><Groups><Group><Name>line 1</Name><TypeCollections>
      <TypeCollection><Name>press</Name><Types>
        <Type><Version>2.0.0</Version><Entries>
          <Entry><Key>force</Key><Type>Double</Type></Entry>
          <Entry><Key>tool</Key><Type>String</Type></Entry>
          <Entry><Key>count</Key><Type>UInt64</Type></Entry></Entries></Type>
        <Type><Version>1.0.0</Version><Entries>
          <Entry><Key>wave</Key><Type>Int8</Type></Entry></Entries></Type></Types></TypeCollection>
    </TypeCollections></Group></Groups></Group></StreamTypeRepository>
  <StreamRepository><GroupSeparator>:</GroupSeparator>
    <Group><Name flags="10" text="empty"/><Groups><Group><Name>line 1</Name><Streams>
      <Stream><Name>b</Name><Type>line 1.press</Type><TypeVersion>2.0.0</TypeVersion>
        <MaxSize>9</MaxSize><Samples>
          <Sample><TimeStamp>2000000</TimeStamp><Entries>
            <Entry><Key>force</Key><Value>-1.5</Value></Entry>
            <Entry><Key>tool</Key><Value>new</Value></Entry>
            <Entry><Key>count</Key><Value>18446744073709551615</Value></Entry></Entries></Sample>
          <Sample><TimeStamp>3000000</TimeStamp><Entries>
            <Entry><Key>force</Key><Value>1e+300</Value></Entry></Entries></Sample>
          <Sample><TimeStamp>-1</TimeStamp><Entries>
            <Entry><Key>force</Key><Value>nan</Value></Entry></Entries></Sample>
        </Samples></Stream>
    </Streams></Group></Groups></Group></StreamRepository>
</Tree>
)";

}  // namespace velmora::tool

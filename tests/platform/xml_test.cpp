#include "platform/xml.h"

#include <gtest/gtest.h>

#include <thread>

namespace zv {
namespace {

constexpr TextView kReply =
    u"<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
    u"<D:multistatus xmlns:D=\"DAV:\" xmlns:ns0=\"DAV:\">\n"
    u"<D:response xmlns:lp0=\"DAV:\" xmlns:lp1=\"http://apache.org/dav/props/\">\n"
    u"<D:href>/users/u/Files/a%20b.txt</D:href>\n"
    u"<D:propstat>\n<D:prop>\n"
    u"<lp0:getcontentlength>1234</lp0:getcontentlength>\n"
    u"<lp0:creationdate>2024-02-29T12:34:56Z</lp0:creationdate>\n"
    u"</D:prop>\n<D:status>HTTP/1.1 200 OK</D:status>\n</D:propstat>\n"
    u"<D:propstat>\n<D:prop>\n<D:quota>100</D:quota>\n<D:used/>\n</D:prop>\n"
    u"<D:status>HTTP/1.1 404 Not Found</D:status>\n</D:propstat>\n"
    u"</D:response>\n"
    u"<D:response xmlns:lp0=\"DAV:\">\n<D:href>/users/u/Files/</D:href>\n</D:response>\n"
    u"</D:multistatus>\n";

Text TextOf(const std::optional<XmlNode>& node) { return node ? node->NodeText() : u"(none)"; }

// The text of the root element <a>, or "(refused)".
Text LoadedText(TextView xml) {
  XmlDocument document;
  if (!document.Load(xml)) return u"(refused)";
  const auto nodes = document.Select(u"/a");
  return nodes.size() == 1 ? nodes[0].NodeText() : u"(none)";
}

bool Loads(TextView xml) {
  XmlDocument document;
  const bool loaded = document.Load(xml);
  // What is refused leaves nothing behind.
  EXPECT_EQ(document.Select(u"/a").size(), loaded ? 1u : 0u);
  return loaded;
}

TEST(XmlTest, TheSystemHasADocumentObject) {
  const XmlDocument document;
  EXPECT_TRUE(document.is_valid());
  EXPECT_EQ(document.failure_code(), 0);
}

TEST(XmlTest, SelectsAllResponsesInOrder) {
  XmlDocument document;
  ASSERT_TRUE(document.Load(kReply));
  const auto responses = document.Select(u"/D:multistatus/D:response");
  ASSERT_EQ(responses.size(), 2u);
  EXPECT_EQ(TextOf(responses[0].SelectSingle(u"D:href")), u"/users/u/Files/a%20b.txt");
  EXPECT_EQ(TextOf(responses[1].SelectSingle(u"D:href")), u"/users/u/Files/");
}

TEST(XmlTest, SelectsARelativePathFromANode) {
  XmlDocument document;
  ASSERT_TRUE(document.Load(kReply));
  const XmlNode response = document.Select(u"/D:multistatus/D:response").at(0);
  EXPECT_EQ(TextOf(response.SelectSingle(u"D:propstat/D:prop/lp0:getcontentlength")), u"1234");
  EXPECT_EQ(TextOf(response.SelectSingle(u"D:propstat/D:prop/lp0:creationdate")),
            u"2024-02-29T12:34:56Z");
  // Stands in the second of two D:propstat.
  EXPECT_EQ(TextOf(response.SelectSingle(u"D:propstat/D:prop/D:quota")), u"100");
  EXPECT_EQ(TextOf(response.SelectSingle(u"D:propstat/D:prop/D:used")), u"");
  EXPECT_EQ(TextOf(response.SelectSingle(u"D:propstat/D:status")), u"HTTP/1.1 200 OK");
}

TEST(XmlTest, AMissingNodeIsNone) {
  XmlDocument document;
  ASSERT_TRUE(document.Load(kReply));
  const auto responses = document.Select(u"/D:multistatus/D:response");
  EXPECT_EQ(responses.at(1).SelectSingle(u"D:propstat/D:prop/lp0:getcontentlength"), std::nullopt);
  EXPECT_EQ(responses.at(0).SelectSingle(u"D:prop"), std::nullopt);
  EXPECT_TRUE(document.Select(u"/D:multistatus/D:nothing").empty());
  EXPECT_TRUE(document.Select(u"/D:response").empty());
}

TEST(XmlTest, APathMatchesThePrefixAsWritten) {
  XmlDocument document;
  ASSERT_TRUE(
      document.Load(u"<X:a xmlns:X=\"DAV:\" xmlns:D=\"DAV:\"><X:b>x</X:b><D:b>d</D:b></X:a>"));
  const auto nodes = document.Select(u"/X:a/D:b");
  ASSERT_EQ(nodes.size(), 1u);
  EXPECT_EQ(nodes[0].NodeText(), u"d");
  EXPECT_TRUE(document.Select(u"/D:a").empty());
}

TEST(XmlTest, APrefixMayStandForAnything) {
  XmlDocument document;
  ASSERT_TRUE(document.Load(u"<D:a xmlns:D=\"urn:other\"><D:b>1</D:b></D:a>"));
  EXPECT_EQ(document.Select(u"/D:a/D:b").size(), 1u);
}

TEST(XmlTest, AnUnprefixedPathMatchesUnprefixedNames) {
  XmlDocument document;
  ASSERT_TRUE(document.Load(u"<a xmlns:D=\"DAV:\"><b>1</b><D:b>2</D:b></a>"));
  const auto nodes = document.Select(u"/a/b");
  ASSERT_EQ(nodes.size(), 1u);
  EXPECT_EQ(nodes[0].NodeText(), u"1");
}

TEST(XmlTest, APrefixDeclaredInsideIsKnownThere) {
  XmlDocument document;
  ASSERT_TRUE(document.Load(
      u"<D:a xmlns:D=\"DAV:\"><D:b><l:c xmlns:l=\"DAV:\"><l:d>1</l:d></l:c></D:b></D:a>"));
  EXPECT_EQ(document.Select(u"/D:a/D:b/l:c/l:d").size(), 1u);
}

TEST(XmlTest, WhatIsNotWellFormedIsRefused) {
  for (const TextView xml : {u"",
                             u" ",
                             u"garbage",
                             u"<a>",
                             u"</a>",
                             u"<a></b>",
                             u"<a><b></a></b>",
                             u"<a/><a/>",
                             u"<a/>text",
                             u"text<a/>",
                             u"<a b=1/>",
                             u"<a b=\"1\" b=\"2\"/>",
                             u"<a b=\"<\"/>",
                             u"<a>&</a>",
                             u"<a>&amp</a>",
                             u"<a>&unknown;</a>",
                             u"<a>&#0;</a>",
                             u"<a>&#xD800;</a>",
                             u"<a>\x01</a>",
                             u"<a><!-- </a>",
                             u"<a><![CDATA[ </a>",
                             u"<a",
                             u"<a b=\"1/>",
                             u"<>x</>",
                             u"<1/>"}) {
    EXPECT_FALSE(Loads(xml)) << ::testing::PrintToString(Text(xml));
  }
}

TEST(XmlTest, EveryTruncationIsRefused) {
  XmlDocument document;
  const TextView whole = kReply.substr(0, kReply.find_last_of(u'>') + 1);
  for (size_t length = 0; length < whole.size(); length += 7) {
    EXPECT_FALSE(document.Load(whole.substr(0, length))) << length;
  }
  EXPECT_TRUE(document.Load(whole));
}

TEST(XmlTest, AFailedLoadLeavesNothing) {
  XmlDocument document;
  ASSERT_TRUE(document.Load(u"<a/>"));
  ASSERT_FALSE(document.Load(u"<a>"));
  EXPECT_TRUE(document.Select(u"/a").empty());
}

TEST(XmlTest, ALoadReplacesWhatWasThere) {
  XmlDocument document;
  ASSERT_TRUE(document.Load(u"<a><b>old</b></a>"));
  const XmlNode old = document.Select(u"/a/b").at(0);
  ASSERT_TRUE(document.Load(u"<a><b>new</b></a>"));
  EXPECT_EQ(document.Select(u"/a/b").at(0).NodeText(), u"new");
  EXPECT_EQ(old.NodeText(), u"old");
}

TEST(XmlTest, ANodeOutlivesItsDocument) {
  auto document = std::make_optional<XmlDocument>();
  ASSERT_TRUE(document->Load(u"<a><b>text</b></a>"));
  const XmlNode node = document->Select(u"/a").at(0);
  document.reset();
  EXPECT_EQ(TextOf(node.SelectSingle(u"b")), u"text");
}

TEST(XmlTest, ReferencesStandForTheirCharacters) {
  EXPECT_EQ(LoadedText(u"<a>&lt;&amp;&gt;&quot;&apos;&#65;&#x42;&#x1F600;</a>"),
            u"<&>\"'AB\U0001F600");
}

TEST(XmlTest, TextIsEverythingBeneathAsItStands) {
  EXPECT_EQ(LoadedText(u"<a>1<b>2<c>3</c></b><!-- no --><![CDATA[<4>]]>5</a>"), u"123<4>5");
  EXPECT_EQ(LoadedText(u"<a> two  blanks\t </a>"), u" two  blanks\t ");
  EXPECT_EQ(LoadedText(u"<a>line\nline\n</a>"), u"line\nline\n");
  EXPECT_EQ(LoadedText(u"<a></a>"), u"");
  EXPECT_EQ(LoadedText(u"<a><b/></a>"), u"");
}

TEST(XmlTest, TextBeyondAsciiIsKept) {
  EXPECT_EQ(LoadedText(u"<a>\u00E9\u4E16\U0001F600</a>"), u"\u00E9\u4E16\U0001F600");
}

TEST(XmlTest, CommentsAndInstructionsAroundTheRootDoNotCount) {
  EXPECT_EQ(LoadedText(u"<?xml version='1.0'?><!-- <x> --><?p i?>\n<a>1</a>\n<!-- end -->"), u"1");
}

TEST(XmlTest, ADoctypeIsRefusedWhateverItHolds) {
  EXPECT_FALSE(Loads(u"<!DOCTYPE a><a/>"));
  EXPECT_FALSE(
      Loads(u"<?xml version='1.0'?><!-- c --><!DOCTYPE a SYSTEM \"file:///nowhere\"><a/>"));
  EXPECT_FALSE(Loads(u"<!DOCTYPE a [<!ENTITY e SYSTEM \"file:///etc/passwd\">]><a>&e;</a>"));
  Text bomb = u"<!DOCTYPE a [<!ENTITY e0 \"ha\">";
  for (char16_t i = u'1'; i <= u'9'; ++i) {
    const Text inner = u"&e" + Text(1, static_cast<char16_t>(i - 1)) + u";";
    bomb += u"<!ENTITY e" + Text(1, i) + u" \"";
    for (int n = 0; n < 10; ++n) bomb += inner;
    bomb += u"\">";
  }
  EXPECT_FALSE(Loads(bomb + u"]><a>&e9;</a>"));
}

TEST(XmlTest, ADoctypeInsideTextIsText) {
  EXPECT_EQ(LoadedText(u"<a><![CDATA[<!DOCTYPE a>]]></a>"), u"<!DOCTYPE a>");
}

TEST(XmlTest, LoadsTenThousandResponses) {
  constexpr size_t kCount = 10'000;
  Text reply = u"<D:multistatus xmlns:D=\"DAV:\" xmlns:lp0=\"DAV:\">\n";
  for (size_t i = 0; i < kCount; ++i) {
    const Text number = FromUtf8(std::to_string(i));
    reply += u"<D:response><D:href>/users/u/Files/file" + number +
             u".txt</D:href>\n<D:propstat><D:prop><lp0:getcontentlength>" + number +
             u"</lp0:getcontentlength></D:prop></D:propstat></D:response>\n";
  }
  reply += u"</D:multistatus>";
  XmlDocument document;
  ASSERT_TRUE(document.Load(reply));
  const auto responses = document.Select(u"/D:multistatus/D:response");
  ASSERT_EQ(responses.size(), kCount);
  for (size_t i = 0; i < kCount; ++i) {
    const auto length = responses[i].SelectSingle(u"D:propstat/D:prop/lp0:getcontentlength");
    ASSERT_EQ(TextOf(length), FromUtf8(std::to_string(i)));
  }
}

TEST(XmlTest, EachThreadHasDocumentsOfItsOwn) {
  std::vector<std::thread> threads;
  std::vector<size_t> found(4);
  for (size_t i = 0; i < found.size(); ++i) {
    threads.emplace_back([i, &found] {
      XmlDocument document;
      if (document.Load(kReply)) found[i] = document.Select(u"/D:multistatus/D:response").size();
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(found, std::vector<size_t>(4, 2));
}

TEST(XmlTest, ADocumentMayBeUsedOnAnotherThread) {
  XmlDocument document;
  size_t found = 0;
  std::thread([&] {
    if (document.Load(kReply)) found = document.Select(u"/D:multistatus/D:response").size();
  }).join();
  EXPECT_EQ(found, 2u);
  EXPECT_EQ(document.Select(u"/D:multistatus").size(), 1u);
}

}  // namespace
}  // namespace zv

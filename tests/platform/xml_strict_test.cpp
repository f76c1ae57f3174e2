// What is the parser's own affair on Windows, and ours on Linux.
#include <gtest/gtest.h>

#include "platform/xml.h"

namespace zv {
namespace {

TEST(XmlStrictTest, AnUndeclaredPrefixIsRefused) {
  for (const TextView xml :
       {u"<D:a><D:b/></D:a>", u"<a><l:b xmlns:l=\"x\"/><l:c/></a>", u"<a l:b=\"1\"/>", u"<:a/>",
        u"<a: xmlns:a='x'/>", u"<a:b:c xmlns:a='x'/>"}) {
    XmlDocument document;
    EXPECT_FALSE(document.Load(xml)) << ToUtf8(xml);
  }
}

TEST(XmlStrictTest, DeepNestingDoesNotExhaustTheStack) {
  constexpr int kDepth = 300'000;
  Text xml;
  for (int i = 0; i < kDepth; ++i) xml += u"<a>";
  xml += u"x";
  for (int i = 0; i < kDepth; ++i) xml += u"</a>";
  XmlDocument document;
  ASSERT_TRUE(document.Load(xml));
  EXPECT_EQ(document.Select(u"/a").at(0).NodeText(), u"x");
}

TEST(XmlStrictTest, ManyAttributesAndPrefixesStayCheap) {
  constexpr int kCount = 20'000;
  Text xml = u"<a";
  for (int i = 0; i < kCount; ++i) xml += u" xmlns:p" + FromUtf8(std::to_string(i)) + u"='u'";
  xml += u">";
  for (int i = 0; i < kCount; ++i) xml += u"<p0:b/>";
  XmlDocument document;
  ASSERT_TRUE(document.Load(xml + u"</a>"));
  EXPECT_EQ(document.Select(u"/a/p0:b").size(), static_cast<size_t>(kCount));
}

}  // namespace
}  // namespace zv

// What the Windows parser limits and the one on Linux has to bear.
#include <gtest/gtest.h>

#include "platform/xml.h"

namespace zv {
namespace {

TEST(XmlNestingTest, DeepNestingDoesNotExhaustTheStack) {
  constexpr int kDepth = 300'000;
  Text xml;
  for (int i = 0; i < kDepth; ++i) xml += u"<a>";
  xml += u"x";
  for (int i = 0; i < kDepth; ++i) xml += u"</a>";
  XmlDocument document;
  ASSERT_TRUE(document.Load(xml));
  EXPECT_EQ(document.Select(u"/a").at(0).NodeText(), u"x");
}

TEST(XmlNestingTest, ManyAttributesAndPrefixesStayCheap) {
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

// The rules that both clients share: base64, header blocks and redirects.
#include <gtest/gtest.h>

#include "platform/base64.h"
#include "platform/shared/http_headers.h"
#include "platform/shared/http_redirect.h"

namespace zv {
namespace {

Text Lines(const HeaderList& list) {
  Text result;
  for (const auto& [name, value] : list.lines()) result += name + u"=" + value + u";";
  return result;
}

TEST(Base64Test, EncodesTheStandardsExamples) {
  EXPECT_EQ(EncodeBase64(""), "");
  EXPECT_EQ(EncodeBase64("f"), "Zg==");
  EXPECT_EQ(EncodeBase64("fo"), "Zm8=");
  EXPECT_EQ(EncodeBase64("foo"), "Zm9v");
  EXPECT_EQ(EncodeBase64("foob"), "Zm9vYg==");
  EXPECT_EQ(EncodeBase64("fooba"), "Zm9vYmE=");
  EXPECT_EQ(EncodeBase64("foobar"), "Zm9vYmFy");
}

TEST(Base64Test, EncodesBytesBeyondAscii) {
  EXPECT_EQ(EncodeBase64("\xFB\xEF\xBE"), "++++");
  EXPECT_EQ(EncodeBase64("\xFF\xFF\xFF"), "////");
  EXPECT_EQ(EncodeBase64(std::string_view("\0\0", 2)), "AAA=");
}

TEST(HeaderListTest, LinesEndInEitherWayAndEmptyOnesAreDropped) {
  HeaderList list;
  list.Add(u"\nDepth:1\r\n\r\n Translate : f \n\n");
  EXPECT_EQ(Lines(list), u"Depth=1;Translate=f;");
}

TEST(HeaderListTest, TheLastLineOfANameStandsAtTheEnd) {
  HeaderList list;
  list.Add(u"A: 1\nB: 2\na: 3");
  list.Add(u"C: 4\nb: 5");
  EXPECT_EQ(Lines(list), u"a=3;C=4;b=5;");
  ASSERT_NE(list.Find(u"B"), nullptr);
  EXPECT_EQ(*list.Find(u"B"), u"5");
}

TEST(HeaderListTest, ValuesMayHoldColonsAndBeEmpty) {
  HeaderList list;
  list.Add(u"Destination:http://h/b\nEmpty:\n: no name\nno colon");
  EXPECT_EQ(Lines(list), u"Destination=http://h/b;Empty=;");
  list.Remove(u"destination");
  EXPECT_EQ(list.Find(u"Destination"), nullptr);
}

class RedirectTest : public ::testing::Test {
 protected:
  std::optional<Text> Follow(TextView location, uint32_t status = 302,
                             TextView verb = u"GET") const {
    return RedirectedObject(server_, verb, u"/folder/file?query/x", status, location);
  }
  HttpServerAddress server_{false, u"server.example", 80};
};

TEST_F(RedirectTest, PathsAreTakenFromTheServersRootOrTheObjectsFolder) {
  EXPECT_EQ(Follow(u"/other?x=1"), u"/other?x=1");
  EXPECT_EQ(Follow(u"sibling"), u"/folder/sibling");
  EXPECT_EQ(Follow(u"?y"), u"/folder/file?y");
  EXPECT_EQ(Follow(u"/other#part"), u"/other");
  EXPECT_EQ(Follow(u"/a:b"), u"/a:b");
}

TEST_F(RedirectTest, TheSameServerIsFollowedByItsFullName) {
  EXPECT_EQ(Follow(u"http://server.example/x"), u"/x");
  EXPECT_EQ(Follow(u"HTTP://Server.Example:80/x"), u"/x");
  EXPECT_EQ(Follow(u"//server.example/x"), u"/x");
  EXPECT_EQ(Follow(u"http://server.example"), u"/");
  EXPECT_EQ(Follow(u"http://server.example?q"), u"/?q");
}

TEST_F(RedirectTest, NoOtherServerIsFollowedTo) {
  EXPECT_EQ(Follow(u"http://elsewhere.example/x"), std::nullopt);
  EXPECT_EQ(Follow(u"http://server.example:81/x"), std::nullopt);
  EXPECT_EQ(Follow(u"http://server.example:80@elsewhere.example/x"), std::nullopt);
  EXPECT_EQ(Follow(u"http://elsewhere.example:80:server.example/x"), std::nullopt);
  EXPECT_EQ(Follow(u"https://server.example/x"), std::nullopt);
  EXPECT_EQ(Follow(u"//elsewhere.example/x"), std::nullopt);
  EXPECT_EQ(Follow(u"ftp://server.example/x"), std::nullopt);
  EXPECT_EQ(Follow(u"http:relative"), std::nullopt);
}

TEST_F(RedirectTest, ASecureServerIsNotLeftForAnOpenOne) {
  server_ = {true, u"server.example", 443};
  EXPECT_EQ(Follow(u"https://server.example/x"), u"/x");
  EXPECT_EQ(Follow(u"http://server.example/x"), std::nullopt);
  EXPECT_EQ(Follow(u"http://server.example:443/x"), std::nullopt);
}

TEST_F(RedirectTest, OnlyReadingVerbsAndRedirectsAreFollowed) {
  EXPECT_EQ(Follow(u"/x", 307, u"HEAD"), u"/x");
  EXPECT_EQ(Follow(u"/x", 308), u"/x");
  EXPECT_EQ(Follow(u"/x", 302, u"DELETE"), std::nullopt);
  EXPECT_EQ(Follow(u"/x", 201), std::nullopt);
  EXPECT_EQ(Follow(u"/x", 304), std::nullopt);
  EXPECT_EQ(Follow(u""), std::nullopt);
}

}  // namespace
}  // namespace zv

// The account server in memory, asked without a network.
#include "tests/support/dav_server.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace zv::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::Pair;
using ::testing::UnorderedElementsAre;

constexpr std::string_view kListingBody =
    "<propfind xmlns='DAV:'><prop><getcontentlength/><quota/></prop></propfind>";

class DavServerTest : public ::testing::Test {
 protected:
  Reply Ask(std::string verb, std::string_view path, Headers headers = {}, std::string body = {}) {
    Request request;
    request.verb = std::move(verb);
    request.target = std::string(DavServer::kAccountRoot).append(path);
    request.headers = std::move(headers);
    request.body = std::move(body);
    request.body_size = request.body.size();
    return account_.Answer(request);
  }
  int Status(std::string verb, std::string_view path, Headers headers = {}, std::string body = {}) {
    const std::string head = Ask(verb, path, std::move(headers), std::move(body)).Head(verb);
    return std::stoi(head.substr(head.find(' ') + 1));
  }
  int Move(std::string_view from, std::string_view to, std::string overwrite = "F") {
    const std::string url = std::string("http://host").append(DavServer::kAccountRoot).append(to);
    return Status("MOVE", from, {{"Destination", url}, {"Overwrite", std::move(overwrite)}});
  }
  std::string List(std::string_view path, std::string depth = "1") {
    const Reply reply =
        Ask("PROPFIND", path, {{"Depth", std::move(depth)}}, std::string(kListingBody));
    return reply.BodyPiece(0, reply.body_size());
  }

  HttpServer server_;
  DavServer account_{server_};
};

TEST_F(DavServerTest, ListsMembersThenTheFolder) {
  account_.PutFile("/Docs/a b&c.txt", "12345");
  account_.PutFolder("/Docs/In");
  const std::string listing = List("/Docs/");
  const size_t file = listing.find("<D:href>/users/user/Files/Docs/a%20b&amp;c.txt</D:href>");
  const size_t folder = listing.find("<D:href>/users/user/Files/Docs/In/</D:href>");
  const size_t own = listing.find("<D:href>/users/user/Files/Docs/</D:href>");
  ASSERT_NE(own, std::string::npos);
  EXPECT_LT(file, own);
  EXPECT_LT(folder, own);
  EXPECT_THAT(listing, HasSubstr("<lp0:getcontentlength>5</lp0:getcontentlength>"));
  EXPECT_THAT(listing.substr(own), HasSubstr("<D:quota>100</D:quota><D:used>1</D:used>"));
  EXPECT_THAT(listing.substr(0, own), Not(HasSubstr("D:quota")));
}

TEST_F(DavServerTest, ListsAtDepthZeroTheFolderAlone) {
  account_.PutFile("/Docs/a.txt", "12345");
  EXPECT_THAT(List("/Docs/", "0"), Not(HasSubstr("a.txt")));
  EXPECT_THAT(List("/Docs/", "0"), HasSubstr("/users/user/Files/Docs/</D:href>"));
}

TEST_F(DavServerTest, EveryChangeOfAFolderGivesItAnotherTime) {
  const std::string before = List("/", "0");
  EXPECT_THAT(before, HasSubstr("Sun, 15 Nov 2026 14:03:08 GMT"));
  EXPECT_EQ(List("/", "0"), before);
  EXPECT_EQ(Status("PUT", "/a", {}, "1"), 201);
  const std::string after = List("/", "0");
  EXPECT_NE(after, before);
  EXPECT_EQ(Status("DELETE", "/a"), 204);
  EXPECT_NE(List("/", "0"), after);
}

TEST_F(DavServerTest, StoresSendsAndDeletes) {
  EXPECT_EQ(Status("PUT", "/%C3%BC%2Etxt", {}, "one"), 201);
  EXPECT_EQ(Status("PUT", "/%C3%BC%2Etxt", {}, "two"), 204);
  EXPECT_EQ(account_.File("/\xC3\xBC.txt"), "two");
  EXPECT_EQ(Ask("GET", "/%c3%bc.txt").BodyPiece(0, 3), "two");
  EXPECT_THAT(Ask("HEAD", "/%c3%bc.txt").Head("HEAD"), HasSubstr("Content-Length: 3\r\n"));
  EXPECT_EQ(Ask("GET", "/%c3%bc.txt", {{"Range", "bytes=1-1"}}).BodyPiece(0, 3), "w");
  EXPECT_EQ(Status("DELETE", "/%c3%bc.txt"), 204);
  EXPECT_EQ(Status("GET", "/%c3%bc.txt"), 404);
  EXPECT_EQ(Status("DELETE", "/"), 403);
}

TEST_F(DavServerTest, WantsTheFolderAboveToBeThere) {
  EXPECT_EQ(Status("PUT", "/no/a", {}, "1"), 409);
  EXPECT_EQ(Status("MKCOL", "/no/a"), 409);
  EXPECT_EQ(Status("MKCOL", "/yes"), 201);
  EXPECT_EQ(Status("MKCOL", "/yes/"), 405);
  EXPECT_EQ(Status("PUT", "/yes", {}, "1"), 405);
  EXPECT_EQ(Status("PUT", "/yes/a", {}, "1"), 201);
}

TEST_F(DavServerTest, MovesASubtreeAndReplacesOnlyWhenItMay) {
  account_.PutFile("/a/in/file", "1");
  account_.PutFile("/b", "2");
  EXPECT_EQ(Move("/a", "/b"), 412);
  EXPECT_EQ(Move("/a", "/a/in/a"), 403);
  EXPECT_EQ(Move("/a", "/no/a"), 409);
  EXPECT_EQ(Move("/gone", "/c"), 404);
  EXPECT_EQ(Move("/a", "/c%20d"), 201);
  EXPECT_THAT(account_.Tree(),
              UnorderedElementsAre(Pair("/b", "2"), Pair("/c d", std::nullopt),
                                   Pair("/c d/in", std::nullopt), Pair("/c d/in/file", "1")));
  EXPECT_EQ(Move("/c d/in/file", "/b", "T"), 204);
  EXPECT_EQ(account_.File("/b"), "1");
}

TEST_F(DavServerTest, GoesOnOnlyWithAnUploadThatBrokeOff) {
  account_.PutFile("/a", "an older and longer one");
  const Headers range = {{"Content-Range", "bytes 2-5/6"}};
  EXPECT_EQ(Status("PUT", "/a", range, "cdef"), 400);
  Request broken;
  broken.verb = "PUT";
  broken.target = std::string(DavServer::kAccountRoot).append("/a");
  broken.body_size = 3;
  account_.TakePiece(broken, "abc");
  EXPECT_EQ(Status("PUT", "/a", {{"Content-Range", "bytes 4-5/6"}}, "ef"), 400);
  EXPECT_EQ(Status("PUT", "/a", range, "cdef"), 204);
  EXPECT_EQ(account_.File("/a"), "abcdef");
  EXPECT_EQ(Status("PUT", "/a", range, "cdef"), 400);
}

}  // namespace
}  // namespace zv::testing

// The question for a folder's size as the script server gets it, on its TLS port.
#include <future>

#include "tests/upload/secure_server.h"
#include "tests/upload/upload_fixture.h"

namespace zv::testing {
namespace {

class FolderSizeRequestTest : public UploadTest {
 protected:
  FolderSizeRequestTest() { home_.SetSetting(kConnectionSubKey, u"anna", server_.host() + u";"); }

  // Asks for a folder's size, which the server tells as 1.5 kilobytes; the question's head.
  std::string Ask(TextView folder) {
    auto size = std::async(std::launch::async, [&] { return client_.GetFolderSizeInByte(folder); });
    std::string head = script_server_.ReadTo("\r\n\r\n");
    script_server_.Write("HTTP/1.0 200 OK\r\nContent-Length: 3\r\n\r\n1.5");
    EXPECT_EQ(size.get(), 1536U);
    return head;
  }

 private:
  // Nobody has this address on port 80 but the fixture's server, and so on port 443.
  SecureServer script_server_{server_.address()};
};

TEST_F(FolderSizeRequestTest, EveryFolderIsAskedForWithASlashBehindIt) {
  struct Case {
    TextView folder;
    std::string_view path;
  };
  constexpr Case kCases[] = {{u"/My docs", "/My%20docs%2F"},
                             {u"/My docs/", "/My%20docs/%2F"},
                             {u"\\a.b\\\u00e9", "/a%2Eb/%C3%A9%2F"},
                             {u"/", "/%2F"},
                             {u"", "%2F"}};
  for (const Case& asked : kCases) {
    const std::string head = Ask(asked.folder);
    EXPECT_TRUE(head.starts_with("GET /cgi-bin/compute_size_long.cgi?user=anna&pass=secret&path=" +
                                 std::string(asked.path) + " HTTP/1.0\r\n"))
        << head;
    EXPECT_NE(head.find("\r\nUser-Agent: Cirrux Mail\r\n"), std::string::npos) << head;
    EXPECT_EQ(head.find("Authorization:"), std::string::npos) << head;
  }
}

}  // namespace
}  // namespace zv::testing

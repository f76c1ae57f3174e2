// The command line on Windows: set up, looked at, and serving a drive of the kernel driver.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>

#include "tests/driver/worker_fixture.h"
#include "tests/e2e/windows_program.h"
#include "tests/support/dav_server.h"
#include "tests/worker/loaded_library.h"

namespace zv::testing {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr std::string_view kPassword = "secret";

class ZvdriveTest : public WorkerTest {
 protected:
  struct Ended {
    uint32_t exit_code;
    std::string output;
  };
  static std::wstring File() { return L"Z:" ZVDRIVE_FILE; }
  static Ended Run(const std::vector<std::string>& arguments, const std::string& input = {}) {
    WindowsProgram program(File(), arguments, input);
    const uint32_t exit_code = program.Wait();
    return {exit_code, program.output()};
  }
  Ended SetAccount() {
    return Run({"account", "set", "--server", server_.address(), "--user", "user", "--quota",
                "100M", "--drive", "Y:", "--application-path", "C:\\Apps\\Host"},
               std::string(kPassword) + "\r\n");
  }

  DavServer dav_{server_};
};

TEST_F(ZvdriveTest, ItsHelpNamesTheCommandsOfThisSystem) {
  const Ended help = Run({"--help"});
  EXPECT_EQ(help.exit_code, 0u);
  EXPECT_THAT(help.output, AllOf(HasSubstr("account"), HasSubstr("serve"), HasSubstr("progress"),
                                 HasSubstr("Exit codes")));
  EXPECT_THAT(help.output, Not(HasSubstr("mount")));
}

TEST_F(ZvdriveTest, RefusesWhatIsNoCommand) {
  EXPECT_EQ(Run({"mount", "x"}).exit_code, 2u);
  EXPECT_EQ(Run({}).exit_code, 2u);
}

TEST_F(ZvdriveTest, TakesThePasswordFromStandardInputAndNeverShowsIt) {
  const Ended set = SetAccount();
  EXPECT_EQ(set.exit_code, 0u) << set.output;
  EXPECT_EQ(home_.Setting(kConnectionSubKey, u"Password"), RaiseBy20(u"secret:user"));
  EXPECT_EQ(home_.Setting(kConnectionSubKey, u"CurrentUser"), u"user");
  EXPECT_EQ(home_.Setting(kConnectionSubKey, u"user"), server_.host() + u";");
  EXPECT_EQ(home_.Setting(kConnectionSubKey, u"Quota"), u"104857600");
  const Ended show = Run({"account", "show"});
  EXPECT_EQ(show.exit_code, 0u);
  EXPECT_THAT(show.output, AllOf(HasSubstr(server_.address()), HasSubstr("user"), HasSubstr("Y:"),
                                 HasSubstr("104857600 bytes"), HasSubstr("C:\\Apps\\Host")));
  EXPECT_THAT(set.output + show.output, Not(HasSubstr(std::string(kPassword))));
}

TEST_F(ZvdriveTest, RefusesAPasswordThatCannotBeStored) {
  const Ended set =
      Run({"account", "set", "--server", server_.address(), "--user", "user"}, "a:b\r\n");
  EXPECT_EQ(set.exit_code, 2u);
  EXPECT_THAT(set.output, HasSubstr("\":\""));
  EXPECT_EQ(home_.Setting(kConnectionSubKey, u"Password"), std::nullopt);
}

TEST_F(ZvdriveTest, ServesNothingWithoutAnAccount) {
  const Ended serve = Run({"serve"});
  EXPECT_EQ(serve.exit_code, 4u);
  EXPECT_THAT(serve.output, HasSubstr("zvdrive account set"));
}

TEST_F(ZvdriveTest, SaysThatTheDriverIsMissing) {
  ASSERT_EQ(SetAccount().exit_code, 0u);
  bench_->HideControlDevice(true);
  const Ended serve = Run({"serve"});
  EXPECT_EQ(serve.exit_code, 1u);
  EXPECT_THAT(serve.output, HasSubstr("driver ZVfs is not installed or not started"));
}

TEST_F(ZvdriveTest, ServesTheDriveUntilAnotherProcessDeletesIt) {
  dav_.PutFile("/note.txt", "a note");
  ASSERT_EQ(SetAccount().exit_code, 0u);
  WindowsProgram serve(File(), {"serve"});
  ASSERT_TRUE(bench_->WaitForFetch(RequestQueue::kInfo));
  ASSERT_TRUE(bench_->WaitForFetch(RequestQueue::kTransfer));
  EXPECT_EQ(bench_->DriveName(), u"Y:");
  EXPECT_EQ(AskDirectory(u"\\", 3).Name(), u"note.txt");
  const SubmitResult read = AskTransfer(MakeRequest(MajorCode::kRestore, u"\\note.txt", 100));
  EXPECT_EQ(TextOf(read.reply.data), "a note");

  const WorkerLibrary library;  // this process is the other one
  EXPECT_EQ(library.DeleteNewDrive(u"Y:"), uint32_t{ZV_SUCCESS});
  EXPECT_EQ(serve.Wait(), 0u) << serve.output();
  EXPECT_THAT(serve.output(), HasSubstr("serving Y:"));
  EXPECT_EQ(bench_->DriveName(), u"");
}

TEST_F(ZvdriveTest, ServesTheDriveUntilCtrlC) {
  ASSERT_EQ(SetAccount().exit_code, 0u);
  WindowsProgram serve(File(), {"serve"});
  ASSERT_TRUE(bench_->WaitForFetch(RequestQueue::kTransfer));
  serve.PressCtrlC();
  EXPECT_EQ(serve.Wait(), 0u) << serve.output();
  EXPECT_EQ(bench_->DriveName(), u"");
}

TEST_F(ZvdriveTest, CtrlCEndsAnUploadThatTheServerRefusesForEver) {
  ASSERT_EQ(SetAccount().exit_code, 0u);
  server_.On([this](const Request& request) {
    return request.verb == "PUT" ? Reply::Status(500) : dav_.Answer(request);
  });
  WindowsProgram serve(File(), {"serve"});
  ASSERT_TRUE(bench_->WaitForFetch(RequestQueue::kTransfer));
  AskBlock(u"\\a.txt", "content", 0, true);
  const size_t before = server_.request_count();
  auto completed = std::async(std::launch::async, [this] {
    return AskTransfer(MakeBackup(MinorCode::kBackupComplete, u"\\a.txt"));
  });
  ASSERT_TRUE(server_.WaitForRequests(before + 1));
  serve.PressCtrlC();
  EXPECT_EQ(serve.Wait(), 0u) << serve.output();
  completed.wait();
  EXPECT_THAT(Run({"pending"}).output, HasSubstr("/a.txt"));
}

TEST_F(ZvdriveTest, SaysWhatIsStillToBeSentAndUnderWay) {
  ASSERT_EQ(SetAccount().exit_code, 0u);
  const Ended pending = Run({"pending"});
  EXPECT_EQ(pending.exit_code, 0u);
  EXPECT_THAT(pending.output, HasSubstr("everything is on the server"));
  EXPECT_EQ(Run({"cancel"}).exit_code, 3u);
}

}  // namespace
}  // namespace zv::testing

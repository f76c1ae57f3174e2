// The account's settings where their store, which is a file on Linux, cannot be read.
#include <gmock/gmock.h>

#include <fstream>

#include "apps/zvdrive/account.h"
#include "apps/zvdrive/commands.h"
#include "platform/home.h"
#include "tests/support/test_home.h"

namespace zv::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

class AccountStore : public HomeTest {
 protected:
  AccountStore() { std::ofstream(HomeFolder() + "/registry.db") << "what is no store"; }
};

TEST_F(AccountStore, ThatCannotBeReadIsNotTakenForNoAccount) {
  EXPECT_THAT([] { ReadAccount(); }, ThrowsMessage<CommandError>(HasSubstr("cannot be read")));
  EXPECT_THAT([] { DescribeAccount(); }, ThrowsMessage<CommandError>(HasSubstr("cannot be read")));
}

TEST_F(AccountStore, ThatCannotBeReadIsNotSet) {
  AccountChanges changes;
  changes.sync = true;
  EXPECT_THAT([&] { SetAccount(changes); },
              ThrowsMessage<CommandError>(HasSubstr("cannot be read")));
}

}  // namespace
}  // namespace zv::testing

#include "config/secrets.h"

#include <gtest/gtest.h>

namespace zv {
namespace {

TEST(Secrets, RaiseAndLowerEveryUnitBy20) {
  EXPECT_EQ(ShiftSecret(u"aZ9:"), u"unMN");
  EXPECT_EQ(UnshiftSecret(u"unMN"), u"aZ9:");
}

TEST(Secrets, WrapAroundAtBothEnds) {
  EXPECT_EQ(ShiftSecret(Text(1, u'\xFFFF')), Text(1, u'\x0013'));
  EXPECT_EQ(UnshiftSecret(Text(1, u'\x0013')), Text(1, u'\xFFFF'));
}

TEST(Secrets, ComeBackWhole) {
  const Text secret = u"p\u00E4\u20AC\xD83D\xDE00 ;\x7F";
  EXPECT_EQ(UnshiftSecret(ShiftSecret(secret)), secret);
  EXPECT_EQ(ShiftSecret(u""), u"");
}

TEST(Secrets, PasswordEndsAtTheFirstColon) {
  EXPECT_EQ(PasswordFromStored(ShiftSecret(u"secret:alice:more")), u"secret");
  EXPECT_EQ(PasswordFromStored(ShiftSecret(u":alice")), u"");
}

TEST(Secrets, PasswordWithoutAColonIsEmpty) {
  EXPECT_EQ(PasswordFromStored(ShiftSecret(u"secret")), u"");
  EXPECT_EQ(PasswordFromStored(u""), u"");
}

TEST(Secrets, ProxyPasswordStandsBehindSixUnits) {
  EXPECT_EQ(ProxyPasswordFromStored(ShiftSecret(u"prefixsecret:x")), u"secret:x");
  EXPECT_EQ(ProxyPasswordFromStored(ShiftSecret(u"prefixs")), u"s");
}

TEST(Secrets, ProxyPasswordOfSixUnitsOrFewerIsEmpty) {
  EXPECT_EQ(ProxyPasswordFromStored(ShiftSecret(u"prefix")), u"");
  EXPECT_EQ(ProxyPasswordFromStored(ShiftSecret(u"pre")), u"");
  EXPECT_EQ(ProxyPasswordFromStored(u""), u"");
}

TEST(Secrets, SyncSecretWithoutAColonIsWhole) {
  EXPECT_EQ(SyncSecretFromStored(ShiftSecret(u"DEFAULT")), u"DEFAULT");
  EXPECT_EQ(SyncSecretFromStored(ShiftSecret(u"DEFAULT:rest:more")), u"DEFAULT");
  EXPECT_EQ(SyncSecretFromStored(u""), u"");
}

}  // namespace
}  // namespace zv

// Stored forms of secrets: a character shift, which hides them from a glance and protects nothing.
#pragma once

#include "platform/text.h"

namespace zv {

// Every unit's code raised / lowered by 20 (modulo 65536).
Text ShiftSecret(TextView text);
Text UnshiftSecret(TextView text);

// "Password" holds password + ":" + more; a value without ":" gives an empty password.
Text PasswordFromStored(TextView stored);
// "ProxyPass" holds six characters and the password.
Text ProxyPasswordFromStored(TextView stored);
// A sync account's values: before the first ":", or whole when there is none.
Text SyncSecretFromStored(TextView stored);

}  // namespace zv

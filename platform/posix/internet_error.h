// The internet's failures in the numbers of platform/internet.h.
#pragma once

#include <curl/curl.h>

#include <cstdint>

namespace zv {

inline constexpr uint32_t kInternetTimeout = 12002;
inline constexpr uint32_t kInternetInternal = 12004;
inline constexpr uint32_t kInternetInvalidUrl = 12005;
inline constexpr uint32_t kInternetNameNotResolved = 12007;
inline constexpr uint32_t kInternetInvalidOption = 12009;
inline constexpr uint32_t kInternetInvalidOperation = 12016;
inline constexpr uint32_t kInternetWrongState = 12019;
inline constexpr uint32_t kInternetCannotConnect = 12029;
inline constexpr uint32_t kInternetAborted = 12030;
inline constexpr uint32_t kInternetReset = 12031;
inline constexpr uint32_t kInternetInvalidCertDate = 12037;
inline constexpr uint32_t kInternetInvalidCertName = 12038;
inline constexpr uint32_t kInternetInvalidCertAuthority = 12045;
inline constexpr uint32_t kInternetInvalidResponse = 12152;
inline constexpr uint32_t kInternetSecureChannel = 12157;

// What the handle's last transfer, which ended with this result, failed by. checks_authority: a
// certificate had to come from a known one.
uint32_t InternetErrorCode(CURL* easy, CURLcode result, bool checks_authority);

// Throws Error(kInternet) and sets the thread's last error.
[[noreturn]] void ThrowInternetError(uint32_t code);

}  // namespace zv

// The reply status codes that mean something here (RFC 9110, section 15; 207: RFC 4918).
#pragma once

#include <cstdint>

namespace zv {

inline constexpr uint32_t kStatusOk = 200;
inline constexpr uint32_t kStatusCreated = 201;
inline constexpr uint32_t kStatusNoContent = 204;
inline constexpr uint32_t kStatusPartialContent = 206;
inline constexpr uint32_t kStatusMultistatus = 207;
inline constexpr uint32_t kStatusUnauthorized = 401;
inline constexpr uint32_t kStatusForbidden = 403;
inline constexpr uint32_t kStatusNotFound = 404;
inline constexpr uint32_t kStatusMethodNotAllowed = 405;
inline constexpr uint32_t kStatusProxyAuthentication = 407;
inline constexpr uint32_t kStatusConflict = 409;
inline constexpr uint32_t kStatusPreconditionFailed = 412;
inline constexpr uint32_t kStatusRangeNotSatisfiable = 416;
inline constexpr uint32_t kStatusServerError = 500;

// A PUT or a MOVE was done: something new is there, or what was there is replaced.
constexpr bool IsCreatedOrReplaced(uint32_t status) {
  return status == kStatusCreated || status == kStatusNoContent;
}

}  // namespace zv

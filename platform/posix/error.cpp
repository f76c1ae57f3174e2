#include "platform/error.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>

namespace zv {
namespace {

thread_local uint32_t last_error = 0;

struct ErrorText {
  uint32_t code;
  TextView text;
};

// What the Windows client says for its codes, so that logs read alike on both systems.
constexpr ErrorText kInternetTexts[] = {
    {12001, u"No more Internet handles can be allocated"},
    {12002, u"The operation timed out"},
    {12003, u"The server returned extended information"},
    {12004, u"An internal error occurred in the Microsoft Internet extensions"},
    {12005, u"The URL is invalid"},
    {12006, u"The URL does not use a recognized protocol"},
    {12007, u"The server name or address could not be resolved"},
    {12008, u"A protocol with the required capabilities was not found"},
    {12009, u"The option is invalid"},
    {12010, u"The length is incorrect for the option type"},
    {12011, u"The option value cannot be set"},
    {12012, u"Microsoft Internet Extension support has been shut down"},
    {12013, u"The user name was not allowed"},
    {12014, u"The password was not allowed"},
    {12015, u"The login request was denied"},
    {12016, u"The requested operation is invalid"},
    {12017, u"The operation has been canceled"},
    {12018, u"The supplied handle is the wrong type for the requested operation"},
    {12019, u"The handle is in the wrong state for the requested operation"},
    {12020, u"The request cannot be made on a Proxy session"},
    {12027, u"The format of the request is invalid"},
    {12028, u"The requested item could not be found"},
    {12029, u"A connection with the server could not be established"},
    {12030, u"The connection with the server was terminated abnormally"},
    {12031, u"The connection with the server was reset"},
    {12032, u"The action must be retried"},
    {12037, u"The date in the certificate is invalid or has expired"},
    {12038, u"The host name in the certificate is invalid or does not match"},
    {12039, u"A redirect request will change a non-secure to a secure connection"},
    {12040, u"A redirect request will change a secure to a non-secure connection"},
    {12044, u"A certificate is required to complete client authentication"},
    {12045, u"The certificate authority is invalid or incorrect"},
    {12150, u"The requested header was not found"},
    {12152, u"The server returned an invalid or unrecognized response"},
    {12153, u"The supplied HTTP header is invalid"},
    {12156, u"The HTTP redirect request failed"},
    {12157, u"An error occurred in the secure channel support"},
    {12163, u"The connection with the server has been terminated"},
    {12169, u"The SSL certificate is invalid"},
    {12175, u"A security error occurred"},
};

Text InternetErrorText(uint32_t code) {
  const auto* found = std::find_if(std::begin(kInternetTexts), std::end(kInternetTexts),
                                   [code](const ErrorText& entry) { return entry.code == code; });
  return found == std::end(kInternetTexts) ? Text() : Text(found->text);
}

}  // namespace

const uint32_t kErrorFileNotFound = ENOENT;
const uint32_t kErrorPathNotFound = ENOTDIR;
const uint32_t kErrorAlreadyExists = EEXIST;
const uint32_t kErrorDiskFull = ENOSPC;

bool IsSystemFailure(uint32_t code) {
  constexpr uint32_t kCodes[] = {EIO, EINTR, ENOMEM, EMFILE, ENFILE};
  return std::ranges::find(kCodes, code) != std::end(kCodes);
}

uint32_t LastError() { return last_error; }
void SetLastError(uint32_t code) { last_error = code; }

Text SystemErrorText(uint32_t code) {
  if (IsInternetCode(code)) return InternetErrorText(code);
  const char* text = ::strerrordesc_np(static_cast<int>(code));
  return text ? FromUtf8(text) : Text();
}

}  // namespace zv

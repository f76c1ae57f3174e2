// Names in listings: any text is decoded, and what is encoded comes back.
#include <algorithm>

#include "tests/fuzz/require.h"
#include "webdav/href.h"
#include "webdav/url.h"

using zv::testing::Require;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  for (const zv::Text& text :
       {zv::FromAnsi(bytes), zv::FromUtf8(bytes), zv::FromUtf16LeBytes(bytes)}) {
    const zv::Text decoded = zv::DecodeHref(text);
    Require(decoded.find(u'\0') == zv::Text::npos);
    Require(decoded.size() <= text.size() * 4);
  }
  zv::Text path = zv::FromUtf8(bytes);
  path.resize(std::min(path.find(u'\0'), path.size()));
  Require(zv::DecodeHref(zv::PercentEncodePath(path)) == zv::ReplaceAll(path, u'\\', u'/'));
  return 0;
}

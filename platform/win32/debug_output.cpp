#include <windows.h>

#include "platform/shared/debug_sink.h"
#include "platform/win32/wide.h"

namespace zv {

void WriteToDebugSink(TextView text) { ::OutputDebugStringW(ToWide(text).c_str()); }

}  // namespace zv

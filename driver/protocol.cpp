#include "driver/protocol.h"

#include <algorithm>

namespace zv {
namespace {

template <size_t N>
TextView FieldText(const char16_t (&field)[N]) {
  return {field, static_cast<size_t>(std::find(field, field + N, u'\0') - field)};
}

template <size_t N>
void SetField(char16_t (&field)[N], TextView text) {
  const size_t count = std::min(text.size(), N - 1);
  std::fill(std::copy_n(text.data(), count, field), field + N, u'\0');
}

}  // namespace

TextView RequestRecord::Path() const { return FieldText(path); }
TextView RequestRecord::SecondPath() const { return FieldText(second_path); }
TextView RequestRecord::ProcessName() const { return FieldText(process_name); }
void RequestRecord::SetPath(TextView text) { SetField(path, text); }
void RequestRecord::SetSecondPath(TextView text) { SetField(second_path, text); }
void RequestRecord::SetProcessName(TextView text) { SetField(process_name, text); }

}  // namespace zv

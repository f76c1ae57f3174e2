// Pairs of capital and small letters outside ASCII.
#pragma once

namespace zv {

// The small letter of a capital; any other unit as it is. Only pairs that lead back and forth count
// (the Kelvin sign, for one, is no capital k), so that two file names which differ in more than
// case never become one.
char16_t LowerFromTable(char16_t unit);

}  // namespace zv

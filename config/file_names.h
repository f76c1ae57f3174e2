// What the names of files tell of them, by their extensions: the letters after the last dot, in
// small ones. Any thread, no state.
#pragma once

#include "platform/text.h"

namespace zv {

inline constexpr int kNoExtension = -1;  // no dot past the name's first character
inline constexpr int kOrdinaryName = 0;
inline constexpr int kTemporaryName = 1;
inline constexpr int kOfficeLockName = 2;  // "~$report.docx"

// One of these, of the name after the last "\".
int ClassifyFileName(TextView path);

// In the two tests of a rename the first character of each path does not count, and the last dot is
// looked for in all the rest, folders included.

// Whether a rename is how an application saves a document: a temporary or extensionless file
// becomes one with another extension.
bool IsTempFileRename(TextView source, TextView target);

// Whether a temporary file becomes one that is none, with or without an extension.
bool TurnsTemporaryIntoReal(TextView source, TextView target);

}  // namespace zv

// One step of a game on a mounted drive: a few random numbers and what they stand for. Any numbers
// are a step, and none depends on the steps before it: a game stays one when steps are left out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>

#include "platform/text.h"

namespace zv::testing {

enum class Action {
  kSave,         // makes or empties a file, writes it whole, closes it
  kMakeFile,     // a new one, else refused
  kAppend,       // to an existing file
  kWriteInPart,  // at a place of an existing file
  kResize,
  kRead,  // whole
  kReadInPart,
  kHold,  // opens and keeps open
  kHeldWrite,
  kHeldRead,
  kHeldResize,
  kHeldSync,
  kLetGo,
  kRename,
  kRemoveFile,
  kMakeFolder,
  kRemoveFolder,
  kList,
  kLook,
  kCompare,  // everything, here and on the server
  kRemount,
};

struct Step {
  uint16_t kind = 0;
  uint16_t first = 0;   // a name
  uint16_t second = 0;  // the same
  uint32_t place = 0;
  uint32_t size = 0;

  Action action() const;
  Text path() const;    // any name in any of a few folders
  Text target() const;  // the same
  Text folder() const;  // mostly one of the few folders
  size_t offset() const;
  size_t length() const;
  unsigned choice() const { return place >> 20; }
};

std::string NameOf(Action action);
// As the trace and a smallest failing game show it.
std::string Describe(const Step& step);

}  // namespace zv::testing

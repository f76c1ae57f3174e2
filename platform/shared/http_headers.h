// Header lines of a request, as the callers of platform/internet.h hand them over.
#pragma once

#include <vector>

#include "platform/text.h"

namespace zv {

// One thread at a time.
class HeaderList {
 public:
  struct Line {
    Text name;
    Text value;  // without white space around it
  };

  // Lines end in "\n" or "\r\n". Empty lines, and those without a name and a colon, are dropped; a
  // line takes the place of earlier ones of its name (case-blind) and goes to the end.
  void Add(TextView block);
  void Remove(TextView name);
  const Text* Find(TextView name) const;
  const std::vector<Line>& lines() const { return lines_; }

 private:
  std::vector<Line> lines_;
};

}  // namespace zv

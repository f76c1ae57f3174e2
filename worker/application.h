// The library's objects that live as long as it is loaded.
#pragma once

#include "driver/connection.h"

namespace zv {

// The one application object, made when the library is loaded; it holds no state of its own, starts
// nothing and stops nothing.
class CZVWorkerApp {
 public:
  virtual ~CZVWorkerApp() = default;
};

extern CZVWorkerApp g_application;
// Used by the exports that create, delete and query the drive.
extern CConnection g_connection;

}  // namespace zv

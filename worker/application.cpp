#include "worker/application.h"

namespace zv {

CZVWorkerApp g_application;
CConnection g_connection;

}  // namespace zv

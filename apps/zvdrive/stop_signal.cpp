#include "apps/zvdrive/stop_signal.h"

#include <csignal>

namespace zv {
namespace {

volatile std::sig_atomic_t stop_asked = 0;

void OnStopSignal(int) { stop_asked = 1; }

}  // namespace

void CatchStopSignals() {
  std::signal(SIGINT, OnStopSignal);
  std::signal(SIGTERM, OnStopSignal);
#ifdef SIGHUP  // a terminal that is closed
  std::signal(SIGHUP, OnStopSignal);
#endif
}

bool StopWasAsked() { return stop_asked != 0; }

}  // namespace zv

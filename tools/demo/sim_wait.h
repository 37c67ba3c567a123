// Waiting on the simulated host in a demo session, whose requests go over
// real HTTP while the SDK's timers run on virtual time.
#ifndef TESSARIN_TOOLS_DEMO_SIM_WAIT_H_
#define TESSARIN_TOOLS_DEMO_SIM_WAIT_H_

#include <chrono>
#include <functional>

#include "platform/sim/sim_platform.h"

namespace tessarin::demo {

// Runs the app until `done` holds or `seconds` of real time pass. Virtual
// time moves on by `step` seconds between looks, so that the SDK's own
// timers (the event queue's throttle, say) fire as they would while the
// user waits.
inline bool WaitFor(platform::sim::SimPlatform& sim, const std::function<bool()>& done, double seconds,
                    double step = 0.5) {
  auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  for (;;) {
    if (sim.runUntil(done, 0.02)) return true;
    if (std::chrono::steady_clock::now() > deadline) return false;
    sim.advance(step);
  }
}

}  // namespace tessarin::demo

#endif  // TESSARIN_TOOLS_DEMO_SIM_WAIT_H_

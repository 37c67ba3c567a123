// Property animations: numbers (a view's alpha, a constraint's constant, any
// value with a setter) move from where they are to a target over a
// duration, after a delay, along a timing curve, and a completion learns
// whether they got there.
//
// Time is the platform's monotonic clock and frames are a platform timer on
// the main queue, 60 a second while anything animates. So animations run on
// virtual time on the simulated host (a test advances the clock and sees
// every frame) and on the real clock on the Linux host, and no host has to
// implement a clock of its own for the kit.
//
// The value a property ends at is its value as far as the app is concerned
// (the model value): removing an animation puts the property there at once
// and completes it with finished = false. A new animation of the same
// property takes over from the value shown and stops the old one, which
// then completes unfinished as well. A zero duration without delay applies
// at once and completes on the main queue afterwards, not inside the call.
// A repeating animation (a spinner's turn) starts over each time it
// arrives and so only ends when removed or when what it animates has gone;
// frames stop with it.
//
// Main thread only.
#ifndef TESSARIN_PLATFORM_UI_ANIMATOR_H_
#define TESSARIN_PLATFORM_UI_ANIMATOR_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/platform.h"
#include "platform/ui/timing_curve.h"

namespace tessarin::platform::ui {

class View;

struct AnimationOptions {
  double duration = 0.3;
  double delay = 0;
  TimingCurve curve = TimingCurve::easeInEaseOut();
  // Starts over from `from` each time it arrives, until removed; its
  // completion then learns finished = false. A zero duration applies once.
  bool repeats = false;
};

// One property to animate. `owner` and `key` name it (for removal and for
// taking over); `set` writes a value, `from` is where it starts.
struct PropertyAnimation {
  const void* owner = nullptr;
  std::string key;
  double from = 0;
  double to = 0;
  std::function<void(double value)> set;
  // What the animation lives by, when given: once it has gone, the
  // animation ends (unfinished, nothing set) at the next frame. A repeating
  // animation needs this or a removal, as it never ends by itself.
  std::weak_ptr<const void> lifetime;

  // The view's alpha, from its current value. The animation holds the view
  // weakly: a view that goes away stops animating.
  static PropertyAnimation alpha(const std::shared_ptr<View>& view, double to);
  // Any number with a setter (a constraint's constant: owner the
  // constraint, key "constant", set calling setConstant).
  static PropertyAnimation value(const void* owner, std::string key, double from, double to,
                                 std::function<void(double)> set);
};

class Animator {
 public:
  using Completion = std::function<void(bool finished)>;
  using AnimationId = std::uint64_t;

  // `platform` must outlive the animator.
  explicit Animator(Platform& platform);
  ~Animator();
  Animator(const Animator&) = delete;
  Animator& operator=(const Animator&) = delete;

  // The properties move together; `completion` runs once, when the last of
  // them has arrived or been removed.
  AnimationId animate(const AnimationOptions& options, std::vector<PropertyAnimation> properties,
                      Completion completion = nullptr);
  // Every animation of the owner's properties; their values jump to their
  // targets and their completions learn finished = false.
  void removeAnimations(const void* owner);
  void removeAllAnimations();
  bool isAnimating(const void* owner) const;
  std::size_t activeAnimations() const;

  static constexpr double kFrameInterval = 1.0 / 60;

 private:
  struct Track;
  struct Group;
  void ensureTimer();
  void tick();
  void finishGroups();
  void stopTrack(Track& track, bool jumpToTarget);

  Platform& platform_;
  AnimationId nextId_ = 1;
  std::vector<std::shared_ptr<Group>> groups_;
  std::vector<std::unique_ptr<Track>> tracks_;
  std::shared_ptr<Timer> timer_;
  // Timer callbacks hold this weakly: the animator may go first.
  std::shared_ptr<Animator*> self_;
};

}  // namespace tessarin::platform::ui

#endif  // TESSARIN_PLATFORM_UI_ANIMATOR_H_

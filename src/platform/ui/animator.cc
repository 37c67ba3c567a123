#include "platform/ui/animator.h"

#include <algorithm>
#include <cmath>

#include "platform/ui/view.h"

namespace tessarin::platform::ui {

struct Animator::Group {
  AnimationId id = 0;
  Completion completion;
  std::size_t remaining = 0;
  bool finished = true;
};

struct Animator::Track {
  std::shared_ptr<Group> group;
  PropertyAnimation property;
  double start = 0;
  double duration = 0;
  TimingCurve curve = TimingCurve::easeInEaseOut();
  bool repeats = false;
  // Whether a lifetime was given, so that its end ends the track.
  bool watchesLifetime = false;
  bool done = false;
};

PropertyAnimation PropertyAnimation::alpha(const std::shared_ptr<View>& view, double to) {
  std::weak_ptr<View> weak = view;
  return {view.get(), "alpha", view->alpha(), to,
          [weak](double value) {
            if (auto v = weak.lock()) v->setAlpha(value);
          },
          {}};
}

PropertyAnimation PropertyAnimation::value(const void* owner, std::string key, double from, double to,
                                           std::function<void(double)> set) {
  return {owner, std::move(key), from, to, std::move(set), {}};
}

Animator::Animator(Platform& platform) : platform_(platform), self_(std::make_shared<Animator*>(this)) {}

Animator::~Animator() {
  if (timer_) timer_->cancel();
}

Animator::AnimationId Animator::animate(const AnimationOptions& options, std::vector<PropertyAnimation> properties,
                                        Completion completion) {
  auto group = std::make_shared<Group>();
  group->id = nextId_++;
  group->completion = std::move(completion);
  groups_.push_back(group);
  double now = platform_.now(Clock::kMonotonic);
  bool immediate = options.duration <= 0 && options.delay <= 0;
  for (auto& property : properties) {
    // The newer animation of a property takes over from the value shown.
    for (auto& track : tracks_) {
      if (!track->done && track->property.owner == property.owner && track->property.key == property.key) {
        stopTrack(*track, false);
      }
    }
    if (immediate) {
      if (property.set) property.set(property.to);
      continue;
    }
    auto track = std::make_unique<Track>();
    track->group = group;
    track->property = std::move(property);
    track->start = now + std::max(0.0, options.delay);
    track->duration = std::max(0.0, options.duration);
    track->curve = options.curve;
    track->repeats = options.repeats && track->duration > 0;
    track->watchesLifetime = !track->property.lifetime.expired();
    ++group->remaining;
    tracks_.push_back(std::move(track));
  }
  std::erase_if(tracks_, [](const auto& track) { return track->done; });
  finishGroups();
  if (!tracks_.empty()) ensureTimer();
  return group->id;
}

void Animator::stopTrack(Track& track, bool jumpToTarget) {
  if (track.done) return;
  track.done = true;
  if (jumpToTarget && track.property.set) track.property.set(track.property.to);
  track.group->finished = false;
  --track.group->remaining;
}

void Animator::removeAnimations(const void* owner) {
  for (auto& track : tracks_) {
    if (track->property.owner == owner) stopTrack(*track, true);
  }
  std::erase_if(tracks_, [](const auto& track) { return track->done; });
  finishGroups();
}

void Animator::removeAllAnimations() {
  for (auto& track : tracks_) stopTrack(*track, true);
  tracks_.clear();
  finishGroups();
}

bool Animator::isAnimating(const void* owner) const {
  return std::any_of(tracks_.begin(), tracks_.end(),
                     [owner](const auto& track) { return !track->done && track->property.owner == owner; });
}

std::size_t Animator::activeAnimations() const { return groups_.size(); }

// Completions outside a frame run on the main queue later, never inside the
// call that ended the animation: a caller removing animations is usually
// in the middle of changing what the completion looks at.
void Animator::finishGroups() {
  auto mainQueue = platform_.mainQueue();
  std::vector<std::shared_ptr<Group>> done;
  std::erase_if(groups_, [&done](const auto& group) {
    if (group->remaining > 0) return false;
    done.push_back(group);
    return true;
  });
  for (auto& group : done) {
    if (!group->completion) continue;
    mainQueue->async([completion = std::move(group->completion), finished = group->finished] { completion(finished); });
  }
}

void Animator::ensureTimer() {
  if (timer_) return;
  std::weak_ptr<Animator*> weak = self_;
  TimerSpec spec;
  spec.startDelay = kFrameInterval;
  spec.interval = kFrameInterval;
  timer_ = platform_.scheduleTimer(platform_.mainQueue(), spec, [weak] {
    if (auto self = weak.lock()) (*self)->tick();
  });
}

void Animator::tick() {
  double now = platform_.now(Clock::kMonotonic);
  for (std::size_t i = 0; i < tracks_.size(); ++i) {
    Track& track = *tracks_[i];
    if (track.done) continue;
    if (track.watchesLifetime && track.property.lifetime.expired()) {
      stopTrack(track, false);
      continue;
    }
    if (now < track.start) continue;
    double progress = track.duration > 0 ? (now - track.start) / track.duration : 1;
    if (track.repeats) {
      // As many whole cycles on as have passed; it never arrives.
      progress -= std::floor(progress);
    } else if (progress >= 1 - 1e-9) {
      // Frames fall on multiples of the interval; a duration that is a
      // whole number of frames ends on its last frame despite rounding.
      progress = 1;
    }
    double t = track.curve.valueAt(progress);
    const PropertyAnimation& p = track.property;
    if (p.set) p.set(progress >= 1 ? p.to : p.from + (p.to - p.from) * t);
    if (progress >= 1) {
      track.done = true;
      --track.group->remaining;
    }
  }
  std::erase_if(tracks_, [](const auto& track) { return track->done; });
  std::vector<std::shared_ptr<Group>> done;
  std::erase_if(groups_, [&done](const auto& group) {
    if (group->remaining > 0) return false;
    done.push_back(group);
    return true;
  });
  if (tracks_.empty() && timer_) {
    timer_->cancel();
    timer_.reset();
  }
  for (auto& group : done) {
    if (group->completion) group->completion(group->finished);
  }
}

}  // namespace tessarin::platform::ui

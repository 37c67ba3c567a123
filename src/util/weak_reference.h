// TSRUtilityWeakReference: a box holding one weak reference, for
// collections that must never keep their members alive (the visible
// screens). The box has an identity of its own; two boxes referring to the
// same object are still two boxes.
#ifndef TESSARIN_UTIL_WEAK_REFERENCE_H_
#define TESSARIN_UTIL_WEAK_REFERENCE_H_

#include <memory>

namespace tessarin {

template <class T = void>
class TSRUtilityWeakReference {
 public:
  TSRUtilityWeakReference() = default;
  explicit TSRUtilityWeakReference(const std::shared_ptr<T>& reference) : reference_(reference) {}

  // The object while it is alive; nothing afterwards.
  std::shared_ptr<T> reference() const { return reference_.lock(); }

 private:
  std::weak_ptr<T> reference_;
};

}  // namespace tessarin

#endif  // TESSARIN_UTIL_WEAK_REFERENCE_H_

// TSRSwizzler: installs the SDK's interceptions in the host's classes.
//
// An interception replaces the implementation a class's instances run for
// a selector with a block that holds on to the previous implementation,
// calls it first with the same arguments, and then does the SDK's work.
// The host application therefore behaves exactly as it did (its own code
// runs, its results are kept), and the SDK hears of it afterwards.
//
// A method counts as existing when the class's instances respond to it,
// whether the class implements it or inherits it. Replacing an inherited
// method installs the block in the class itself, shadowing the inherited
// implementation there only: the superclass and other subclasses keep
// theirs, and the block's previous implementation is the inherited one.
#ifndef TESSARIN_UTIL_METHOD_INTERCEPTION_H_
#define TESSARIN_UTIL_METHOD_INTERCEPTION_H_

#include <any>
#include <functional>
#include <memory>
#include <string>

#include "platform/host_object.h"

namespace tessarin {

class TSRSwizzler {
 public:
  // A replacement. `previous` is the implementation it stands in for; it
  // is null when the method was added, and platform::CallImp then runs
  // nothing and gives an empty result.
  using Block = std::function<std::any(const platform::ImpPtr& previous, platform::HostObject& self,
                                       const platform::HostArgs& args)>;
  // The SDK's work after the previous implementation ran, given that
  // implementation's result; what it returns is the method's result.
  using After = std::function<std::any(std::any previousResult, platform::HostObject& self,
                                       const platform::HostArgs& args)>;

  // Replaces an existing instance method only. Returns the implementation
  // it replaced; null when the class's instances do not respond to the
  // selector (nothing is installed then).
  static platform::ImpPtr replaceMethod(const std::string& selector,
                                        const std::shared_ptr<platform::HostClass>& cls, Block block);
  // The same, but adds the method when the class's instances lack it; the
  // result is null then too, since nothing was replaced.
  static platform::ImpPtr replaceOrAddMethod(const std::string& selector,
                                             const std::shared_ptr<platform::HostClass>& cls, Block block);
  // The body of both: looks the instance method up; installs the block in
  // the class when there is one or adding is allowed; returns the old
  // implementation (null: nothing was replaced).
  static platform::ImpPtr adjustMethod(const std::string& selector, bool allowAdd,
                                       const std::shared_ptr<platform::HostClass>& cls, Block block);
  // The same for a class method, installed in the metaclass; only an
  // existing class method (possibly inherited) is replaced.
  static platform::ImpPtr replaceClassMethod(const std::string& selector,
                                             const std::shared_ptr<platform::HostClass>& cls, Block block);

  // A block in the SDK's usual shape: the previous implementation runs
  // first with the same arguments, then `after` with its result.
  static Block afterPrevious(After after);
};

}  // namespace tessarin

#endif  // TESSARIN_UTIL_METHOD_INTERCEPTION_H_

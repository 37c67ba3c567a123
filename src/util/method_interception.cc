#include "util/method_interception.h"

#include <utility>

namespace tessarin {

using platform::HostArgs;
using platform::HostClass;
using platform::HostObject;
using platform::ImpPtr;

ImpPtr TSRSwizzler::replaceMethod(const std::string& selector, const std::shared_ptr<HostClass>& cls,
                                  Block block) {
  return adjustMethod(selector, false, cls, std::move(block));
}

ImpPtr TSRSwizzler::replaceOrAddMethod(const std::string& selector, const std::shared_ptr<HostClass>& cls,
                                       Block block) {
  return adjustMethod(selector, true, cls, std::move(block));
}

ImpPtr TSRSwizzler::adjustMethod(const std::string& selector, bool allowAdd,
                                 const std::shared_ptr<HostClass>& cls, Block block) {
  if (!cls || !block) return nullptr;
  // Looked up through the superclasses: an inherited method exists too.
  ImpPtr previous = cls->lookupMethod(selector);
  if (!previous && !allowAdd) return nullptr;
  // The class's own slot is set (added when it only inherited the method),
  // so the replacement reaches this class and its subclasses alone.
  cls->replaceMethod(selector, platform::MakeImp([previous, block = std::move(block)](
                                                     HostObject& self, const HostArgs& args) {
                       return block(previous, self, args);
                     }));
  return previous;
}

ImpPtr TSRSwizzler::replaceClassMethod(const std::string& selector, const std::shared_ptr<HostClass>& cls,
                                       Block block) {
  if (!cls) return nullptr;
  return adjustMethod(selector, false, cls->metaclass(), std::move(block));
}

TSRSwizzler::Block TSRSwizzler::afterPrevious(After after) {
  return [after = std::move(after)](const ImpPtr& previous, HostObject& self, const HostArgs& args) {
    std::any result = platform::CallImp(previous, self, args);
    return after ? after(std::move(result), self, args) : result;
  };
}

}  // namespace tessarin

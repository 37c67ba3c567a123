#include "platform/host_object.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace tessarin::platform {

ImpPtr MakeImp(Imp imp) {
  if (!imp) return nullptr;
  return std::make_shared<const Imp>(std::move(imp));
}

std::any CallImp(const ImpPtr& imp, HostObject& self, const HostArgs& args) {
  if (!imp) return {};
  return (*imp)(self, args);
}

HostObject::HostObject(std::shared_ptr<HostClass> cls) : isa_(std::move(cls)) {}

HostObject::~HostObject() {
  // Associated values go before the object's own variables, and outside
  // the lock: a value's destructor may read what it was associated with.
  std::map<const void*, std::any> associations;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    associations.swap(associations_);
  }
}

std::string HostObject::className() const { return isa_ ? isa_->name() : std::string(); }

bool HostObject::isKindOfClass(const std::string& className) const {
  for (const HostClass* c = isa_.get(); c != nullptr; c = c->superclass().get()) {
    if (c->name() == className) return true;
  }
  return false;
}

bool HostObject::respondsToSelector(const std::string& selector) const {
  return isa_ && isa_->lookupMethod(selector) != nullptr;
}

std::string HostObject::Address() const {
  char address[32];
  std::snprintf(address, sizeof address, "%p", static_cast<const void*>(this));
  return address;
}

std::string HostObject::description() const {
  // Appended piece by piece: GCC 12 warns falsely about a literal prefixed
  // to a string temporary.
  std::string text = "<";
  text.append(className()).append(": ").append(Address()).append(">");
  return text;
}

std::any HostObject::send(const std::string& selector, const HostArgs& args) {
  ImpPtr imp = isa_ ? isa_->lookupMethod(selector) : nullptr;
  if (!imp) {
    // A class object is messaged through its metaclass; the report names
    // it as the platform's runtime does.
    auto* as_class = dynamic_cast<const HostClass*>(this);
    std::string reason = as_class ? "+[" + as_class->name() + " " + selector +
                                        "]: unrecognized selector sent to class " + Address()
                                  : "-[" + className() + " " + selector +
                                        "]: unrecognized selector sent to instance " + Address();
    throw HostException("NSInvalidArgumentException", reason);
  }
  return (*imp)(*this, args);
}

std::any HostObject::sendSuper(const HostClass& definingClass, const std::string& selector,
                               const HostArgs& args) {
  const auto& superclass = definingClass.superclass();
  ImpPtr imp = superclass ? superclass->lookupMethod(selector) : nullptr;
  if (!imp) {
    throw HostException("NSInvalidArgumentException",
                        "-[" + definingClass.name() + " " + selector +
                            "]: unrecognized selector sent to super of instance " + Address());
  }
  return (*imp)(*this, args);
}

std::any HostObject::ivar(const std::string& name) const {
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = ivars_.find(name);
  return it == ivars_.end() ? std::any() : it->second;
}

bool HostObject::hasIvar(const std::string& name) const {
  std::lock_guard<std::mutex> lock(mutex_);
  return ivars_.count(name) != 0;
}

void HostObject::setIvar(const std::string& name, std::any value) {
  std::lock_guard<std::mutex> lock(mutex_);
  std::swap(ivars_[name], value);
  // The old value is released after the lock, when `value` goes.
}

std::any HostObject::valueForKey(const std::string& key) {
  if (respondsToSelector(key)) return send(key);
  for (const std::string& name : {"_" + key, key}) {
    std::lock_guard<std::mutex> lock(mutex_);
    auto it = ivars_.find(name);
    if (it != ivars_.end()) return it->second;
  }
  throw HostException("NSUnknownKeyException",
                      "[" + description() + " valueForUndefinedKey:]: this class is not key value "
                      "coding-compliant for the key " + key + ".");
}

std::any HostObject::associatedObject(const void* key) const {
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = associations_.find(key);
  return it == associations_.end() ? std::any() : it->second;
}

void HostObject::setAssociatedObject(const void* key, std::any value) {
  std::any old;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    auto it = associations_.find(key);
    if (it != associations_.end()) {
      old = std::move(it->second);
      if (value.has_value()) {
        it->second = std::move(value);
      } else {
        associations_.erase(it);
      }
    } else if (value.has_value()) {
      associations_.emplace(key, std::move(value));
    }
  }
  // `old` is released here, outside the lock.
}

HostClass::HostClass(std::string name, std::shared_ptr<HostClass> superclass,
                     std::shared_ptr<HostClass> metaclass)
    : HostObject(std::move(metaclass)), name_(std::move(name)), superclass_(std::move(superclass)) {}

bool HostClass::isSubclassOfClass(const HostClass& other) const {
  for (const HostClass* c = this; c != nullptr; c = c->superclass().get()) {
    if (c == &other) return true;
  }
  return false;
}

std::vector<std::string> HostClass::classHierarchy() const {
  std::vector<std::string> names;
  for (const HostClass* c = this; c != nullptr; c = c->superclass().get()) names.push_back(c->name());
  return names;
}

ImpPtr HostClass::lookupMethod(const std::string& selector) const {
  for (const HostClass* c = this; c != nullptr; c = c->superclass().get()) {
    if (ImpPtr imp = c->ownMethod(selector)) return imp;
  }
  return nullptr;
}

ImpPtr HostClass::ownMethod(const std::string& selector) const {
  std::lock_guard<std::mutex> lock(methods_mutex_);
  auto it = methods_.find(selector);
  return it == methods_.end() ? nullptr : it->second;
}

bool HostClass::addMethod(const std::string& selector, ImpPtr imp) {
  if (!imp) return false;
  std::lock_guard<std::mutex> lock(methods_mutex_);
  return methods_.emplace(selector, std::move(imp)).second;
}

ImpPtr HostClass::replaceMethod(const std::string& selector, ImpPtr imp) {
  if (!imp) return nullptr;
  std::lock_guard<std::mutex> lock(methods_mutex_);
  ImpPtr& slot = methods_[selector];
  std::swap(slot, imp);
  return imp;
}

ImpPtr HostClass::lookupClassMethod(const std::string& selector) const {
  return metaclass() ? metaclass()->lookupMethod(selector) : nullptr;
}

bool HostClass::addClassMethod(const std::string& selector, ImpPtr imp) {
  return metaclass() && metaclass()->addMethod(selector, std::move(imp));
}

void HostClass::declareIvar(const std::string& name) {
  std::lock_guard<std::mutex> lock(methods_mutex_);
  if (std::find(ivars_declared_.begin(), ivars_declared_.end(), name) == ivars_declared_.end()) {
    ivars_declared_.push_back(name);
  }
}

bool HostClass::hasInstanceVariable(const std::string& name) const {
  for (const HostClass* c = this; c != nullptr; c = c->superclass().get()) {
    std::lock_guard<std::mutex> lock(c->methods_mutex_);
    if (std::find(c->ivars_declared_.begin(), c->ivars_declared_.end(), name) != c->ivars_declared_.end()) {
      return true;
    }
  }
  return false;
}

void HostClass::addProtocol(std::shared_ptr<const HostProtocol> protocol) {
  if (!protocol) return;
  std::lock_guard<std::mutex> lock(methods_mutex_);
  protocols_.push_back(std::move(protocol));
}

bool HostClass::conformsToProtocol(const HostProtocol& protocol) const {
  for (const HostClass* c = this; c != nullptr; c = c->superclass().get()) {
    std::lock_guard<std::mutex> lock(c->methods_mutex_);
    for (const auto& adopted : c->protocols_) {
      if (adopted.get() == &protocol) return true;
    }
  }
  return false;
}

bool HostProtocol::declaresInstanceMethod(const std::string& selector) const {
  return std::find(required_.begin(), required_.end(), selector) != required_.end() ||
         std::find(optional_.begin(), optional_.end(), selector) != optional_.end();
}

std::shared_ptr<HostClass> HostRuntime::defineClass(const std::string& name,
                                                    const std::shared_ptr<HostClass>& superclass) {
  if (name.empty() || (superclass && superclass->isMetaclass())) return nullptr;
  std::lock_guard<std::mutex> lock(mutex_);
  if (classes_.count(name)) return nullptr;
  // The metaclass chain mirrors the class chain, so class methods are
  // inherited as instance methods are.
  std::shared_ptr<HostClass> meta(
      new HostClass(name, superclass ? superclass->metaclass() : nullptr, nullptr));
  std::shared_ptr<HostClass> cls(new HostClass(name, superclass, std::move(meta)));
  classes_.emplace(name, cls);
  return cls;
}

std::shared_ptr<HostClass> HostRuntime::defineClass(const std::string& name,
                                                    const std::string& superclassName) {
  auto superclass = lookUpClass(superclassName);
  if (!superclass) return nullptr;
  return defineClass(name, superclass);
}

std::shared_ptr<HostClass> HostRuntime::lookUpClass(const std::string& name) const {
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = classes_.find(name);
  return it == classes_.end() ? nullptr : it->second;
}

std::shared_ptr<const HostProtocol> HostRuntime::defineProtocol(const std::string& name,
                                                                std::vector<std::string> requiredInstanceMethods,
                                                                std::vector<std::string> optionalInstanceMethods) {
  if (name.empty()) return nullptr;
  std::lock_guard<std::mutex> lock(mutex_);
  if (protocols_.count(name)) return nullptr;
  auto protocol = std::make_shared<const HostProtocol>(name, std::move(requiredInstanceMethods),
                                                       std::move(optionalInstanceMethods));
  protocols_.emplace(name, protocol);
  return protocol;
}

std::shared_ptr<const HostProtocol> HostRuntime::lookUpProtocol(const std::string& name) const {
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = protocols_.find(name);
  return it == protocols_.end() ? nullptr : it->second;
}

std::any HostRuntime::associatedObject(const void* key) const {
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = associations_.find(key);
  return it == associations_.end() ? std::any() : it->second;
}

void HostRuntime::setAssociatedObject(const void* key, std::any value) {
  std::any old;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    auto it = associations_.find(key);
    if (it != associations_.end()) old = std::move(it->second);
    if (value.has_value()) {
      associations_[key] = std::move(value);
    } else if (it != associations_.end()) {
      associations_.erase(it);
    }
  }
  // `old` is released here, outside the lock.
}

}  // namespace tessarin::platform

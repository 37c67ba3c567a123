// A small object runtime: classes with method tables keyed by selector
// name, objects that are instances of them, and one registry of classes
// per host.
//
// The SDK learns what the host application does by intercepting methods
// of the host's objects: a view controller appearing, the application
// dispatching an event or getting a delegate, a delegate receiving a push
// token. On the reference platform the object runtime dispatches every
// message through per-class method lists; host objects here do the same,
// so that an interception keeps that runtime's semantics:
//   - a message runs the implementation found by walking from the
//     object's class up the superclass chain;
//   - a class can shadow an inherited implementation with its own while
//     its superclass and sibling classes keep running the inherited one;
//   - whoever replaces an implementation gets the previous one back, to
//     call it with the same arguments and use its result.
// Class methods live, as there, in the instance-method table of the
// class's metaclass.
//
// The SDK also reaches some host code only by name, at run time, because it
// does not link it (a messaging library the app may or may not carry): it
// looks up classes, class methods, the instance variables a class declares
// and protocols with the methods they declare, and finds each present,
// partly present or absent.
#ifndef TESSARIN_PLATFORM_HOST_OBJECT_H_
#define TESSARIN_PLATFORM_HOST_OBJECT_H_

#include <any>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

namespace tessarin::platform {

class HostClass;
class HostObject;
class HostProtocol;

// The arguments of a message, one per keyword of the selector, in order.
// By convention objects travel as std::shared_ptr<HostObject>, nil as an
// empty std::any, BOOL as bool, integers as long, strings as std::string,
// arrays of objects as HostObjectList, dictionaries as Json, blocks as a
// std::function.
using HostArgs = std::vector<std::any>;
using HostObjectList = std::vector<std::shared_ptr<HostObject>>;

// A method implementation. Its result is empty for a void method and for nil.
using Imp = std::function<std::any(HostObject& self, const HostArgs& args)>;
// Implementations are immutable and shared; like the platform's IMPs they
// are compared by identity. Null means "no implementation".
using ImpPtr = std::shared_ptr<const Imp>;

ImpPtr MakeImp(Imp imp);
// Runs `imp` on `self`; with no implementation nothing runs and the result
// is empty, as a message to nil would be.
std::any CallImp(const ImpPtr& imp, HostObject& self, const HostArgs& args);

// The argument at `index` as a T; null when it is missing, nil, or not a T.
template <class T>
const T* HostArg(const HostArgs& args, std::size_t index) {
  if (index >= args.size()) return nullptr;
  return std::any_cast<T>(&args[index]);
}

// The object a message argument or result holds; null for nil or for a
// value that is not an object.
inline std::shared_ptr<HostObject> HostObjectFrom(const std::any& value) {
  auto* object = std::any_cast<std::shared_ptr<HostObject>>(&value);
  return object ? *object : nullptr;
}

// What the runtime raises where the reference platform raises a named
// exception: "NSInvalidArgumentException" for an unrecognised selector,
// "NSUnknownKeyException" for an undefined key.
class HostException : public std::runtime_error {
 public:
  HostException(std::string name, const std::string& reason)
      : std::runtime_error(reason), name_(std::move(name)) {}
  const std::string& name() const { return name_; }

 private:
  std::string name_;
};

class HostObject : public std::enable_shared_from_this<HostObject> {
 public:
  // `cls` is null only for a metaclass, which nothing messages.
  explicit HostObject(std::shared_ptr<HostClass> cls);
  virtual ~HostObject();
  HostObject(const HostObject&) = delete;
  HostObject& operator=(const HostObject&) = delete;

  const std::shared_ptr<HostClass>& cls() const { return isa_; }
  std::string className() const;
  // Whether the object's class is `className` or inherits from it.
  bool isKindOfClass(const std::string& className) const;
  bool respondsToSelector(const std::string& selector) const;
  // "<ClassName: 0x…>": how the object prints in log lines.
  virtual std::string description() const;

  // Runs the implementation the object's class finds for `selector`.
  // Throws HostException "NSInvalidArgumentException" when there is none.
  std::any send(const std::string& selector, const HostArgs& args = {});
  // Runs the implementation found from the superclass of `definingClass`:
  // what a method defined in that class does when it calls super.
  std::any sendSuper(const HostClass& definingClass, const std::string& selector,
                     const HostArgs& args = {});

  // Instance variables by name ("_navigationItem"), read and written
  // directly, without any accessor running. Absent and nil both read as an
  // empty value; `hasIvar` tells them apart.
  std::any ivar(const std::string& name) const;
  bool hasIvar(const std::string& name) const;
  void setIvar(const std::string& name, std::any value);

  // Key-value access: a method named `key` (sent with no arguments), else
  // the instance variable "_key", else "key". Throws HostException
  // "NSUnknownKeyException" when there is none of them.
  std::any valueForKey(const std::string& key);

  // Values that live as long as this object does, each under the address
  // of a key its owner keeps (the platform's associated objects). Setting
  // an empty value removes the association.
  std::any associatedObject(const void* key) const;
  void setAssociatedObject(const void* key, std::any value);

 private:
  std::string Address() const;

  const std::shared_ptr<HostClass> isa_;
  mutable std::mutex mutex_;
  std::map<std::string, std::any> ivars_;
  std::map<const void*, std::any> associations_;
};

// A class: a name, a superclass, and the table of the implementations its
// instances run. A class is itself an object, an instance of its
// metaclass, whose table holds the class methods.
class HostClass : public HostObject {
 public:
  const std::string& name() const { return name_; }
  // Null for a root class.
  const std::shared_ptr<HostClass>& superclass() const { return superclass_; }
  // Null for a metaclass.
  const std::shared_ptr<HostClass>& metaclass() const { return cls(); }
  bool isMetaclass() const { return cls() == nullptr; }
  // Whether this class is `other` or inherits from it.
  bool isSubclassOfClass(const HostClass& other) const;
  // Class names from this class up to its root class.
  std::vector<std::string> classHierarchy() const;
  std::string description() const override { return name_; }

  // The implementation instances of this class run for `selector`: the
  // class's own, else the nearest superclass's; null when no class in the
  // chain has one.
  ImpPtr lookupMethod(const std::string& selector) const;
  // The class's own implementation only, never an inherited one.
  ImpPtr ownMethod(const std::string& selector) const;
  // Adds an implementation unless the class has one of its own; an
  // inherited one does not prevent it and is shadowed from then on.
  // Returns whether it added.
  bool addMethod(const std::string& selector, ImpPtr imp);
  // Sets the class's own implementation, adding one when the class has
  // none of its own (the superclass keeps the inherited one). Returns the
  // class's own previous implementation, null when it only inherited one.
  ImpPtr replaceMethod(const std::string& selector, ImpPtr imp);

  // Class methods: the same operations on the metaclass. A metaclass has
  // no class methods of its own.
  ImpPtr lookupClassMethod(const std::string& selector) const;
  bool addClassMethod(const std::string& selector, ImpPtr imp);

  // Instance variables the class declares (by name, "_defaultFcmToken").
  // A declaration is what a run-time look-up finds; the values live in
  // each instance (HostObject::ivar). Look-up walks the superclasses, as an
  // instance has its superclasses' variables too.
  void declareIvar(const std::string& name);
  bool hasInstanceVariable(const std::string& name) const;

  // Protocols the class adopts. Conformance is inherited: a subclass
  // conforms to what its superclasses adopted.
  void addProtocol(std::shared_ptr<const HostProtocol> protocol);
  bool conformsToProtocol(const HostProtocol& protocol) const;

 private:
  friend class HostRuntime;
  HostClass(std::string name, std::shared_ptr<HostClass> superclass, std::shared_ptr<HostClass> metaclass);

  const std::string name_;
  const std::shared_ptr<HostClass> superclass_;
  mutable std::mutex methods_mutex_;
  std::map<std::string, ImpPtr> methods_;
  std::vector<std::string> ivars_declared_;
  std::vector<std::shared_ptr<const HostProtocol>> protocols_;
};

// A protocol: a name and the instance methods it declares, required or
// optional. Declaring a method says nothing of whether a class implements
// it; an adopting class may implement some, all or none of them.
class HostProtocol {
 public:
  HostProtocol(std::string name, std::vector<std::string> required, std::vector<std::string> optional)
      : name_(std::move(name)), required_(std::move(required)), optional_(std::move(optional)) {}
  const std::string& name() const { return name_; }
  const std::vector<std::string>& requiredInstanceMethods() const { return required_; }
  const std::vector<std::string>& optionalInstanceMethods() const { return optional_; }
  // Whether the protocol declares the instance method, required or optional.
  bool declaresInstanceMethod(const std::string& selector) const;

 private:
  const std::string name_;
  const std::vector<std::string> required_;
  const std::vector<std::string> optional_;
};

// The classes of one host, by name. Each host has its own registry, so
// interceptions installed on one host never reach another's objects.
class HostRuntime {
 public:
  // Defines and registers a class with its metaclass; a null superclass
  // makes a root class. Null when the name is empty or already taken.
  std::shared_ptr<HostClass> defineClass(const std::string& name,
                                         const std::shared_ptr<HostClass>& superclass);
  std::shared_ptr<HostClass> defineClass(const std::string& name, std::nullptr_t) {
    return defineClass(name, std::shared_ptr<HostClass>());
  }
  // The same with the superclass named; null when no class has that name.
  std::shared_ptr<HostClass> defineClass(const std::string& name, const std::string& superclassName);
  // The registered class of that name, or null.
  std::shared_ptr<HostClass> lookUpClass(const std::string& name) const;

  // Defines and registers a protocol; null when the name is empty or taken.
  std::shared_ptr<const HostProtocol> defineProtocol(const std::string& name,
                                                     std::vector<std::string> requiredInstanceMethods,
                                                     std::vector<std::string> optionalInstanceMethods);
  // The registered protocol of that name, or null.
  std::shared_ptr<const HostProtocol> lookUpProtocol(const std::string& name) const;

  // Values that live as long as the host does, each under the address of
  // a key its owner keeps: what the SDK does once per process (install an
  // interception, choose how to read a value) it does once per host, and
  // keeps the record of it here. Setting an empty value removes it.
  std::any associatedObject(const void* key) const;
  void setAssociatedObject(const void* key, std::any value);

 private:
  mutable std::mutex mutex_;
  std::map<std::string, std::shared_ptr<HostClass>> classes_;
  std::map<std::string, std::shared_ptr<const HostProtocol>> protocols_;
  std::map<const void*, std::any> associations_;
};

}  // namespace tessarin::platform

#endif  // TESSARIN_PLATFORM_HOST_OBJECT_H_

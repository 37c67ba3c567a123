// Whether the network can be reached, as the platform sees it.
//
// A reachability source watches one target (the internet at large, the
// link-local network, or a named host) and describes it with the reference
// platform's reachability flags, so that the SDK's rules for turning flags
// into a status read the same on every host. A host without such a facility
// gives no source at all; the SDK copes with none.
#ifndef TESSARIN_PLATFORM_NETWORK_REACHABILITY_H_
#define TESSARIN_PLATFORM_NETWORK_REACHABILITY_H_

#include <cstdint>
#include <functional>
#include <string>

namespace tessarin::platform {

using ReachabilityFlags = std::uint32_t;

// The flag bits, with the reference platform's values.
inline constexpr ReachabilityFlags kReachabilityFlagTransientConnection = 1u << 0;
inline constexpr ReachabilityFlags kReachabilityFlagReachable = 1u << 1;
inline constexpr ReachabilityFlags kReachabilityFlagConnectionRequired = 1u << 2;
inline constexpr ReachabilityFlags kReachabilityFlagConnectionOnTraffic = 1u << 3;
inline constexpr ReachabilityFlags kReachabilityFlagInterventionRequired = 1u << 4;
inline constexpr ReachabilityFlags kReachabilityFlagConnectionOnDemand = 1u << 5;
inline constexpr ReachabilityFlags kReachabilityFlagIsLocalAddress = 1u << 16;
inline constexpr ReachabilityFlags kReachabilityFlagIsDirect = 1u << 17;
inline constexpr ReachabilityFlags kReachabilityFlagIsWWAN = 1u << 18;
// The reference platform's other name for "connection on traffic".
inline constexpr ReachabilityFlags kReachabilityFlagConnectionAutomatic = kReachabilityFlagConnectionOnTraffic;

// What a source watches.
struct ReachabilityTarget {
  enum class Kind {
    kInternet,   // any address: the IPv4 socket address of all zeros
    kLinkLocal,  // the link-local network 169.254.0.0
    kHostName,   // the host named in `hostName`
  };
  Kind kind = Kind::kInternet;
  std::string hostName;
};

class NetworkReachability {
 public:
  // Receives the flags as they now are. It runs on the queue the source was
  // created with, never concurrently with itself.
  using Callback = std::function<void(ReachabilityFlags flags)>;

  virtual ~NetworkReachability() = default;

  // Reads the flags now, on the calling thread. False when they cannot be
  // read.
  virtual bool flags(ReachabilityFlags* flags) = 0;

  // Starts delivering reports to the callback on the source's queue: one
  // whenever the flags change. A source may also report flags that did not
  // change (its first reading after starting, say), so a report means "the
  // flags are now", not "the flags changed". False when it cannot start;
  // starting a started source succeeds and changes nothing.
  virtual bool start() = 0;

  // Stops delivering. A report already queued may still arrive. False when
  // the source cannot stop; stopping a stopped source succeeds.
  virtual bool stop() = 0;
};

}  // namespace tessarin::platform

#endif  // TESSARIN_PLATFORM_NETWORK_REACHABILITY_H_

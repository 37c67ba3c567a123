// TSRCampaignDispatcher: routes each campaign of an event response to the
// handler registered for its target on the context that asked for it.
//
// Campaigns arrive some time after the event that caused them, often after
// the screen has changed. A campaign for a registered context is handed to
// its target's handler at once when the context allows dispatching; it is
// held (one per context and target, the newest wins) until both a handler
// and permission exist; it is dropped when its context is unknown, the
// dispatcher is disabled, or it has expired by the time it would be
// delivered.
//
// There is no lock: every operation runs on the main thread, and handlers
// are run there too.
#ifndef TESSARIN_TRACKING_CAMPAIGN_DISPATCHER_H_
#define TESSARIN_TRACKING_CAMPAIGN_DISPATCHER_H_

#include <memory>
#include <optional>
#include <string>
#include <unordered_map>

#include "base/collaborators.h"
#include "platform/platform.h"
#include "tessarin/campaign.h"
#include "tessarin/json.h"

namespace tessarin {

class TSRConfig;

// What one target of one context has: its handler and the campaign waiting
// for delivery to it.
class TSRCampaignDispatchTargetEntry {
 public:
  std::shared_ptr<TSRCampaign> campaignHeld;
  TSRCampaignHandler handler;
};

// One registered contextId.
class TSRCampaignDispatchContextIdEntry {
 public:
  // Targets in the order they were first seen: held campaigns are released
  // in that order when dispatching becomes allowed.
  using TargetEntries = nlohmann::ordered_map<std::string, std::shared_ptr<TSRCampaignDispatchTargetEntry>>;

  bool dispatchingAllowed = false;
  TargetEntries dispatchTargetEntries;
};

class TSRCampaignDispatcher : public CampaignRouter, public std::enable_shared_from_this<TSRCampaignDispatcher> {
 public:
  // The configuration must outlive the dispatcher; it is read at each
  // delivery, so later changes (callHandlersSafely) apply.
  TSRCampaignDispatcher(const TSRConfig& config, std::shared_ptr<platform::Platform> platform);
  ~TSRCampaignDispatcher() override;
  TSRCampaignDispatcher(const TSRCampaignDispatcher&) = delete;
  TSRCampaignDispatcher& operator=(const TSRCampaignDispatcher&) = delete;

  // CampaignRouter.
  void handleCampaign(const std::shared_ptr<TSRCampaign>& campaign) override;
  void setHandler(TSRCampaignHandler handler, const std::optional<std::string>& contextId,
                  const std::string& target) override;
  void registerContextIdIfNecessary(const std::optional<std::string>& contextId) override;
  void unregisterContextId(const std::optional<std::string>& contextId) override;
  void setDispatchingAllowed(bool allowed, const std::optional<std::string>& contextId) override;
  void clearAllCampaignsHeld() override;
  // Final: a disabled dispatcher refuses everything from then on.
  void unregisterAllAndDisable() override;

  // Drops every target of the contextId (handlers and held campaigns); the
  // contextId stays registered with its permission.
  void clearContextId(const std::optional<std::string>& contextId);
  // Drops the held campaigns of the contextId; handlers stay.
  void clearAllCampaignsHeldForContextId(const std::optional<std::string>& contextId);
  // Runs the handler with the campaign on the main thread, unless the
  // campaign has expired.
  void dispatchCampaign(const std::shared_ptr<TSRCampaign>& campaign, const TSRCampaignHandler& toHandler);

  bool dispatchAllowedForContextId(const std::optional<std::string>& contextId) const;
  // Null when the contextId or the target is unknown.
  TSRCampaignHandler handlerForContextId(const std::optional<std::string>& contextId,
                                         const std::string& target) const;
  std::shared_ptr<TSRCampaign> campaignHeldForContextId(const std::optional<std::string>& contextId,
                                                        const std::string& target) const;

  bool disabled() const { return disabled_; }
  const TSRConfig& config() const { return config_; }

 private:
  using ContextIdEntries = std::unordered_map<std::string, std::shared_ptr<TSRCampaignDispatchContextIdEntry>>;

  TSRCampaignDispatchContextIdEntry* contextIdEntry(const std::string& contextId) const;
  TSRCampaignDispatchTargetEntry* targetEntry(const std::optional<std::string>& contextId,
                                              const std::string& target) const;
  static TSRCampaignDispatchTargetEntry& targetEntryCreatingIfNecessary(TSRCampaignDispatchContextIdEntry& entry,
                                                                        const std::string& target);
  void releaseHeldCampaigns(const std::shared_ptr<TSRCampaignDispatchContextIdEntry>& entry);
  void runHandler(const TSRCampaignHandler& handler, const std::shared_ptr<TSRCampaign>& campaign);

  bool disabled_ = false;
  const TSRConfig& config_;
  std::shared_ptr<platform::Platform> platform_;
  ContextIdEntries dispatch_context_id_entries_;
};

}  // namespace tessarin

#endif  // TESSARIN_TRACKING_CAMPAIGN_DISPATCHER_H_

#include "tracking/campaign_dispatcher.h"

#include <utility>

#include "base/log.h"
#include "util/config.h"
#include "util/safety.h"

namespace tessarin {
namespace {

// Configuration switch: catch and log what a handler throws.
constexpr const char* kCallHandlersSafelyKey = "callHandlersSafely";
constexpr const char* kHandlerTagFormat =
    "Campaign handler for target [%@] campaignId [%@] experienceId [%@] messageId [%@] data: %@";

}  // namespace

TSRCampaignDispatcher::TSRCampaignDispatcher(const TSRConfig& config, std::shared_ptr<platform::Platform> platform)
    : config_(config), platform_(std::move(platform)) {}

TSRCampaignDispatcher::~TSRCampaignDispatcher() { unregisterAllAndDisable(); }

TSRCampaignDispatchContextIdEntry* TSRCampaignDispatcher::contextIdEntry(const std::string& contextId) const {
  auto it = dispatch_context_id_entries_.find(contextId);
  return it == dispatch_context_id_entries_.end() ? nullptr : it->second.get();
}

TSRCampaignDispatchTargetEntry* TSRCampaignDispatcher::targetEntry(const std::optional<std::string>& contextId,
                                                                  const std::string& target) const {
  if (!contextId) return nullptr;
  TSRCampaignDispatchContextIdEntry* entry = contextIdEntry(*contextId);
  if (!entry) return nullptr;
  auto it = entry->dispatchTargetEntries.find(target);
  return it == entry->dispatchTargetEntries.end() ? nullptr : it->second.get();
}

TSRCampaignDispatchTargetEntry& TSRCampaignDispatcher::targetEntryCreatingIfNecessary(
    TSRCampaignDispatchContextIdEntry& entry, const std::string& target) {
  auto& slot = entry.dispatchTargetEntries[target];
  if (!slot) slot = std::make_shared<TSRCampaignDispatchTargetEntry>();
  return *slot;
}

void TSRCampaignDispatcher::handleCampaign(const std::shared_ptr<TSRCampaign>& campaign) {
  if (!campaign) {
    TSR_LOG_ERROR("Campaign: Dispatch fail, campaign nil");
    return;
  }
  if (disabled_) {
    TSR_LOG_DEBUG("Campaign: Dispatch fail, disabled, ignoring campaign: [%@:%@]", campaign->campaignName(),
                  campaign->campaignId());
    return;
  }
  const std::string& contextId = campaign->contextId();
  const std::string& target = campaign->target();
  if (contextId.empty() || target.empty()) {
    TSR_LOG_ERROR("Campaign: Dispatch fail, incomplete, contextId %@, target %@, campaign:[%@:%@]", contextId,
                  target, campaign->campaignName(), campaign->campaignId());
    return;
  }
  // A campaign for a context that is gone (or not yet known) answers an
  // event of a screen the user has left: it is dropped, not kept for a later
  // registration.
  TSRCampaignDispatchContextIdEntry* entry = contextIdEntry(contextId);
  if (!entry) {
    TSR_LOG_WARN("Campaign: Dispatch fail, contextId %@ not found (may be late response), campaign: [%@:%@]",
                 contextId, campaign->campaignName(), campaign->campaignId());
    return;
  }
  TSRCampaignDispatchTargetEntry& targetEntry = targetEntryCreatingIfNecessary(*entry, target);
  if (targetEntry.handler && entry->dispatchingAllowed) {
    if (targetEntry.campaignHeld) {
      TSR_LOG_WARN("Campaign: Unexpectedly found & discarding existing held campaign: [%@:%@]",
                   targetEntry.campaignHeld->campaignName(), targetEntry.campaignHeld->campaignId());
      targetEntry.campaignHeld.reset();
    }
    dispatchCampaign(campaign, targetEntry.handler);
    return;
  }
  // The newest campaign always wins the one slot of the target.
  if (targetEntry.campaignHeld) {
    TSR_LOG_INFO("Campaign: Replacing existing held campaign: [%@:%@]", targetEntry.campaignHeld->campaignName(),
                 targetEntry.campaignHeld->campaignId());
  }
  TSR_LOG_INFO("Campaign: Hold for delivery,%@%@ contextId: %@, target: %@, campaign: [%@:%@]",
               targetEntry.handler ? "" : " no handler,", entry->dispatchingAllowed ? "" : " not yet allowed,",
               contextId, target, campaign->campaignName(), campaign->campaignId());
  targetEntry.campaignHeld = campaign;
}

void TSRCampaignDispatcher::setHandler(TSRCampaignHandler handler, const std::optional<std::string>& contextId,
                                       const std::string& target) {
  if (disabled_) {
    TSR_LOG_DEBUG("Campaign: Set handler fail, disabled, ignoring target %@ contextId %@", target, contextId);
    return;
  }
  if (!contextId || contextId->empty() || target.empty()) {
    TSR_LOG_ERROR("Campaign: Set handler fail, incomplete: target %@, contextId %@", target, contextId);
    return;
  }
  TSRCampaignDispatchContextIdEntry* entry = contextIdEntry(*contextId);
  if (!entry) {
    TSR_LOG_ERROR("Campaign: Set handler fail, target %@, contextId %@ not found", target, contextId);
    return;
  }
  TSRCampaignDispatchTargetEntry& targetEntry = targetEntryCreatingIfNecessary(*entry, target);
  // The old handler is destroyed only on the way out, so that whatever it
  // captured cannot reach back into a half-updated entry.
  TSRCampaignHandler oldHandler = std::exchange(targetEntry.handler, std::move(handler));
  if (!targetEntry.handler) {
    // A held campaign stays for the next handler.
    if (oldHandler) TSR_LOG_INFO("Campaign: Cleared handler for target %@, contextId %@", target, contextId);
    return;
  }
  TSR_LOG_INFO("Campaign: %@ handler for target %@, contextId %@", oldHandler ? "Replaced" : "Set", target,
               contextId);
  if (!targetEntry.campaignHeld) return;
  if (entry->dispatchingAllowed) {
    TSR_LOG_INFO("Campaign: Dispatch campaign held for handler");
    std::shared_ptr<TSRCampaign> campaign = std::exchange(targetEntry.campaignHeld, nullptr);
    dispatchCampaign(campaign, targetEntry.handler);
  } else {
    TSR_LOG_INFO(
        "Campaign: Ignoring campaign held for handler, dispatching not yet allowed for contextId %@, "
        "campaign: [%@:%@]",
        contextId, targetEntry.campaignHeld->campaignName(), targetEntry.campaignHeld->campaignId());
  }
}

void TSRCampaignDispatcher::registerContextIdIfNecessary(const std::optional<std::string>& contextId) {
  if (disabled_) {
    TSR_LOG_DEBUG("Campaign: Register contextId fail, disabled, %@", contextId);
    return;
  }
  if (!contextId) {
    TSR_LOG_ERROR("Campaign: Register contextId fail, nil");
    return;
  }
  if (contextIdEntry(*contextId)) return;
  TSR_LOG_DEBUG("Campaign: Register contextId %@", contextId);
  dispatch_context_id_entries_.emplace(*contextId, std::make_shared<TSRCampaignDispatchContextIdEntry>());
}

void TSRCampaignDispatcher::unregisterContextId(const std::optional<std::string>& contextId) {
  if (disabled_) return;
  if (!contextId) {
    TSR_LOG_ERROR("Campaign: Unregister contextId fail, nil");
    return;
  }
  if (!contextIdEntry(*contextId)) return;
  TSR_LOG_DEBUG("Campaign: Unregister contextId %@", contextId);
  clearContextId(contextId);
  dispatch_context_id_entries_.erase(*contextId);
}

void TSRCampaignDispatcher::clearContextId(const std::optional<std::string>& contextId) {
  if (!contextId) {
    TSR_LOG_ERROR("Campaign: Clear contextId fail, nil");
    return;
  }
  TSRCampaignDispatchContextIdEntry* entry = contextIdEntry(*contextId);
  if (!entry) {
    TSR_LOG_WARN("Campaign: Clear contextId %@ fail, not found", contextId);
    return;
  }
  unsigned long handlers = 0, held = 0;
  for (const auto& [target, targetEntry] : entry->dispatchTargetEntries) {
    handlers += targetEntry->handler ? 1 : 0;
    held += targetEntry->campaignHeld ? 1 : 0;
  }
  TSR_LOG_DEBUG("Campaign: Clear contextId %@, %lu targets %lu handlers %lu campaigns held", contextId,
                static_cast<unsigned long>(entry->dispatchTargetEntries.size()), handlers, held);
  // The entries die after the map is already empty: a handler's captures
  // may unregister their context as they are destroyed.
  TSRCampaignDispatchContextIdEntry::TargetEntries doomed = std::move(entry->dispatchTargetEntries);
  entry->dispatchTargetEntries.clear();
}

void TSRCampaignDispatcher::clearAllCampaignsHeld() {
  for (const auto& [contextId, entry] : dispatch_context_id_entries_) clearAllCampaignsHeldForContextId(contextId);
}

void TSRCampaignDispatcher::clearAllCampaignsHeldForContextId(const std::optional<std::string>& contextId) {
  if (!contextId) return;
  TSRCampaignDispatchContextIdEntry* entry = contextIdEntry(*contextId);
  if (!entry) return;
  unsigned long cleared = 0;
  for (auto& [target, targetEntry] : entry->dispatchTargetEntries) {
    if (!targetEntry->campaignHeld) continue;
    targetEntry->campaignHeld.reset();
    ++cleared;
  }
  if (cleared > 0) TSR_LOG_DEBUG("Campaign: Clear %lu campaigns held, contextId %@", cleared, contextId);
}

void TSRCampaignDispatcher::setDispatchingAllowed(bool allowed, const std::optional<std::string>& contextId) {
  const char* word = allowed ? "Allow" : "Disallow";
  if (disabled_) {
    TSR_LOG_DEBUG("Campaign: %@ dispatching fail, disabled, contextId %@", word, contextId);
    return;
  }
  if (!contextId) {
    TSR_LOG_ERROR("Campaign: %@ dispatching fail, contextId nil", word);
    return;
  }
  auto it = dispatch_context_id_entries_.find(*contextId);
  if (it == dispatch_context_id_entries_.end()) {
    TSR_LOG_DEBUG("Campaign: %@ dispatching fail, did not find contextId %@", word, contextId);
    return;
  }
  std::shared_ptr<TSRCampaignDispatchContextIdEntry> entry = it->second;
  // Only a change of permission does anything: held campaigns are released
  // on the transition to allowed, never again by a repeated allow.
  if (entry->dispatchingAllowed == allowed) return;
  if (!allowed) {
    TSR_LOG_DEBUG("Campaign: Disallow dispatching, contextId %@", contextId);
    entry->dispatchingAllowed = false;
    return;
  }
  TSR_LOG_DEBUG("Campaign: Allow dispatching, contextId %@", contextId);
  entry->dispatchingAllowed = true;
  releaseHeldCampaigns(entry);
}

void TSRCampaignDispatcher::releaseHeldCampaigns(const std::shared_ptr<TSRCampaignDispatchContextIdEntry>& entry) {
  // Handlers run inline on the main thread and may call back into the
  // dispatcher: add targets, clear or unregister this context, disable the
  // dispatcher, or drop its last owner. So the walk keeps the dispatcher and
  // the entries alive, goes by position (new targets are appended, a
  // cleared context ends it) and stops once the dispatcher is disabled.
  std::shared_ptr<TSRCampaignDispatcher> keepAlive = weak_from_this().lock();
  auto& targets = entry->dispatchTargetEntries;
  for (std::size_t i = 0; i < targets.size() && !disabled_; ++i) {
    std::shared_ptr<TSRCampaignDispatchTargetEntry> targetEntry = (targets.begin() + i)->second;
    if (!targetEntry->campaignHeld) continue;
    if (targetEntry->handler) {
      std::shared_ptr<TSRCampaign> campaign = std::exchange(targetEntry->campaignHeld, nullptr);
      dispatchCampaign(campaign, targetEntry->handler);
    } else {
      const TSRCampaign& held = *targetEntry->campaignHeld;
      TSR_LOG_INFO("Campaign: Campaign still held for handler, target %@, campaign: [%@:%@]", held.target(),
                   held.campaignName(), held.campaignId());
    }
  }
}

void TSRCampaignDispatcher::unregisterAllAndDisable() {
  if (disabled_) return;
  disabled_ = true;
  TSR_LOG_DEBUG("Campaign: Unregister all and disable");
  // Destroyed once the dispatcher is already empty and disabled, for the
  // same reason as when a context is cleared.
  ContextIdEntries doomed = std::move(dispatch_context_id_entries_);
  dispatch_context_id_entries_.clear();
}

void TSRCampaignDispatcher::dispatchCampaign(const std::shared_ptr<TSRCampaign>& campaign,
                                             const TSRCampaignHandler& toHandler) {
  if (!campaign) {
    TSR_LOG_ERROR("Campaign: Dispatch fail, campaign nil");
    return;
  }
  if (!toHandler) {
    TSR_LOG_ERROR("Campaign: Dispatch fail, no handler, contextId %@, target %@, campaign: [%@:%@]",
                  campaign->contextId(), campaign->target(), campaign->campaignName(), campaign->campaignId());
    return;
  }
  // Expiry is judged only here, at delivery: a held campaign is not removed
  // when its time runs out, it just is not delivered.
  if (std::optional<double> expiration = campaign->expirationTime()) {
    double now = platform_->now(platform::Clock::kWall);
    if (*expiration < now) {
      TSR_LOG_INFO("Campaign: Dispatch fail, campaign expired %.3f seconds ago, campaign:[%@:%@]",
                   now - *expiration, campaign->campaignName(), campaign->campaignId());
      return;
    }
  }
  TSR_LOG_INFO("Campaign: Dispatching to handler, contextId %@, target %@, campaign: [%@:%@]",
               campaign->contextId(), campaign->target(), campaign->campaignName(), campaign->campaignId());
  runHandler(toHandler, campaign);
}

bool TSRCampaignDispatcher::dispatchAllowedForContextId(const std::optional<std::string>& contextId) const {
  TSRCampaignDispatchContextIdEntry* entry = contextId ? contextIdEntry(*contextId) : nullptr;
  return entry && entry->dispatchingAllowed;
}

TSRCampaignHandler TSRCampaignDispatcher::handlerForContextId(const std::optional<std::string>& contextId,
                                                              const std::string& target) const {
  TSRCampaignDispatchTargetEntry* entry = targetEntry(contextId, target);
  return entry ? entry->handler : nullptr;
}

std::shared_ptr<TSRCampaign> TSRCampaignDispatcher::campaignHeldForContextId(
    const std::optional<std::string>& contextId, const std::string& target) const {
  TSRCampaignDispatchTargetEntry* entry = targetEntry(contextId, target);
  return entry ? entry->campaignHeld : nullptr;
}

void TSRCampaignDispatcher::runHandler(const TSRCampaignHandler& handler,
                                       const std::shared_ptr<TSRCampaign>& campaign) {
  // The block owns a copy of the handler: the handler may replace or clear
  // itself while it runs.
  TSRUtilitySafety::Block block = [handler, campaign] { handler(campaign); };
  if (!config_.boolForKey(kCallHandlersSafelyKey).value_or(false)) {
    TSRUtilitySafety::runOnMainUNSAFE(*platform_, std::move(block));
    return;
  }
  std::string tag = FormatLogMessage(kHandlerTagFormat, {campaign->target(), campaign->campaignId(),
                                                         campaign->experienceId(), campaign->messageId(),
                                                         LogArg(campaign->data())});
  if (platform_->isMainThread()) {
    TSRUtilitySafety::runOnMainWithTag(*platform_, tag.c_str(), std::move(block));
    return;
  }
  // Off the main thread the guarded run is queued, and its tag must live as
  // long as the queued block does.
  platform_->mainQueue()->async([platform = platform_, tag = std::move(tag), block = std::move(block)] {
    TSRUtilitySafety::runOnMainWithTag(*platform, tag.c_str(), block);
  });
}

}  // namespace tessarin

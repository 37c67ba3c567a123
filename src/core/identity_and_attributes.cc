// Who the user is (user and account ids, readable from any thread), the
// attributes that ride on the next action, and the log level.
#include <algorithm>
#include <mutex>
#include <optional>
#include <string>

#include "base/collaborators.h"
#include "base/log.h"
#include "core/tessarin_impl.h"
#include "util/config.h"
#include "util/device_util.h"
#include "util/unicode_trim.h"

namespace tessarin {
namespace {

constexpr std::size_t kMaxAttributeValueLength = 1024;

}  // namespace

// --- Identity ---

void TessarinImpl::setUserId(const std::optional<std::string>& userId) {
  std::string trimmed = userId ? TrimWhitespaceAndNewlines(*userId) : std::string();
  {
    std::lock_guard<std::mutex> lock(identity_mutex_);
    if (trimmed == "0") {
      TSR_LOG_ERROR("Ignoring attempt to set userId to \"0\".");
      return;
    }
    if (trimmed.empty()) {
      user_id_.reset();
      account_id_.reset();
      TSR_LOG_INFO("Cleared userId and accountId");
    } else {
      user_id_ = trimmed;
    }
  }
  // The service links the push token to the new user.
  OnMain("-[Tessarin setUserId:]_block_invoke", [](TessarinImpl& self) {
    if (self.push_token_manager_) self.push_token_manager_->enqueuePushTokenUpdateEvent();
  });
}

std::optional<std::string> TessarinImpl::userId() {
  std::lock_guard<std::mutex> lock(identity_mutex_);
  return user_id_;
}

void TessarinImpl::setAccountId(const std::optional<std::string>& accountId) {
  std::string trimmed = accountId ? TrimWhitespaceAndNewlines(*accountId) : std::string();
  std::lock_guard<std::mutex> lock(identity_mutex_);
  if (trimmed == "0") {
    TSR_LOG_ERROR("Ignoring attempt to set accountId to \"0\".");
    return;
  }
  if (trimmed.empty()) {
    account_id_.reset();
    TSR_LOG_INFO("Cleared accountId");
  } else {
    account_id_ = trimmed;
  }
}

std::optional<std::string> TessarinImpl::accountId() {
  std::lock_guard<std::mutex> lock(identity_mutex_);
  return account_id_;
}

std::optional<std::string> TessarinImpl::anonymousId() {
  if (disabled_) return std::nullopt;
  return TSRUtilityDevice::identifierForVendor(*di_);
}

// --- Attributes ---

namespace {

Json AttributeValue(const std::optional<std::string>& value) { return value ? Json(*value) : Json(nullptr); }

}  // namespace

void TessarinImpl::setUserAttribute(const std::optional<std::string>& value, const std::optional<std::string>& name) {
  setAttributeValue(AttributeValue(value), name);
}

void TessarinImpl::setAccountAttribute(const std::optional<std::string>& value,
                                   const std::optional<std::string>& name) {
  setAttributeValue(AttributeValue(value), name);
}

void TessarinImpl::setAttributeValue(const Json& value, const std::optional<std::string>& name) {
  OnMain("-[Tessarin setAttributeValue:name:]", [value, name](TessarinImpl& self) {
    if (self.disabled_) return;
    std::optional<std::string> trimmed_name;
    if (name) trimmed_name = TrimWhitespaceAndNewlines(*name);
    Json trimmed_value = value.is_string() ? Json(TrimWhitespaceAndNewlines(value.get_ref<const std::string&>()))
                                           : value;

    bool valid = true;
    if (!trimmed_name || trimmed_name->empty()) {
      TSR_LOG_ERROR("Attribute name must be a non-empty NSString.");
      valid = false;
    } else if (!trimmed_value.is_null() && !trimmed_value.is_string()) {
      TSR_LOG_ERROR("Attribute value must be an NSString.");
      valid = false;
    } else {
      const auto& reserved = reservedEventKeys();
      if (std::find(reserved.begin(), reserved.end(), *trimmed_name) != reserved.end()) {
        TSR_LOG_ERROR("Attribute is invalid because it uses a reserved name: %@", *trimmed_name);
        valid = false;
      }
    }
    if (!valid) {
      TSR_LOG_ERROR("Ignoring invalid attribute: %@ %@", trimmed_name,
                    trimmed_value.is_null() ? LogArg() : LogArg(trimmed_value));
      return;
    }
    if (trimmed_value.is_null()) {
      // The null marker travels in the next event and clears the attribute.
      self.attributes_[*trimmed_name] = nullptr;
      TSR_LOG_INFO("Clearing attribute %@", *trimmed_name);
      return;
    }
    std::string stored = Utf16Prefix(trimmed_value.get_ref<const std::string&>(), kMaxAttributeValueLength);
    self.attributes_[*trimmed_name] = stored;
    TSR_LOG_INFO("Setting attribute %@ to the value %@", *trimmed_name, stored);
  });
}

// --- Log level ---

long TessarinImpl::logLevel() const { return TSRLogger::logLevel(); }

void TessarinImpl::setLogLevel(long logLevel) {
  OnMain("-[Tessarin setLogLevel:]", [logLevel](TessarinImpl& self) {
    self.config_->setConfiguration(Json{{"logLevel", logLevel}}, TSRConfig::kLayerRuntime);
    TSRLogger::setLogLevel(logLevel);
  });
}

}  // namespace tessarin

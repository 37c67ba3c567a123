#include "transport/plain_event_responses.h"

#include <cstddef>
#include <string>

#include "tessarin/json.h"

namespace tessarin {
namespace {

// Follows the parser's events through the one shape it accepts, and stops
// the parse at the first event outside it.
class PlainResponsesScan {
 public:
  bool plain() const { return state_ == State::kDone; }

  bool null() { return false; }
  bool boolean(bool value) { return ErrorCode(!value); }
  bool number_integer(Json::number_integer_t value) { return ErrorCode(value == 0); }
  bool number_unsigned(Json::number_unsigned_t value) { return ErrorCode(value == 0); }
  bool number_float(Json::number_float_t value, const Json::string_t&) { return ErrorCode(value == 0); }
  bool string(Json::string_t&) { return false; }
  bool binary(Json::binary_t&) { return false; }

  bool start_object(std::size_t) {
    if (state_ == State::kTop) {
      single_ = true;
    } else if (state_ != State::kList) {
      return false;
    }
    state_ = State::kResponse;
    return true;
  }
  bool key(Json::string_t& name) {
    if (state_ != State::kResponse) return false;
    if (name == "errorCode") {
      state_ = State::kErrorCode;
    } else if (name == "campaignResponses") {
      state_ = State::kCampaigns;
    } else {
      return false;
    }
    return true;
  }
  bool end_object() {
    if (state_ != State::kResponse) return false;
    state_ = single_ ? State::kDone : State::kList;
    return true;
  }
  bool start_array(std::size_t) {
    if (state_ == State::kTop) {
      state_ = State::kList;
    } else if (state_ == State::kCampaigns) {
      state_ = State::kCampaignsOpen;
    } else {
      return false;
    }
    return true;
  }
  bool end_array() {
    if (state_ == State::kList) {
      state_ = State::kDone;
    } else if (state_ == State::kCampaignsOpen) {
      state_ = State::kResponse;  // empty: no campaign came in between
    } else {
      return false;
    }
    return true;
  }
  bool parse_error(std::size_t, const std::string&, const Json::exception&) {
    state_ = State::kTop;
    return false;
  }

 private:
  enum class State { kTop, kList, kResponse, kErrorCode, kCampaigns, kCampaignsOpen, kDone };

  // A number or a boolean: only as the value of "errorCode", and only zero.
  bool ErrorCode(bool zero) {
    if (state_ != State::kErrorCode || !zero) return false;
    state_ = State::kResponse;
    return true;
  }

  State state_ = State::kTop;
  bool single_ = false;
};

}  // namespace

bool IsPlainEventResponses(std::string_view body) {
  PlainResponsesScan scan;
  return Json::sax_parse(body, &scan) && scan.plain();
}

}  // namespace tessarin

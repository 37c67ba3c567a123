// TSRReview: the user's review of an item.
//
// Thread contract: a plain value the app owns; a context reads it on the
// caller's thread, before its call returns.
#ifndef TESSARIN_REVIEW_H_
#define TESSARIN_REVIEW_H_

#include <memory>
#include <optional>
#include <string>

#include "tessarin/export.h"
#include "tessarin/json.h"

namespace tessarin {

class TESSARIN_EXPORT TSRReview {
 public:
  // `init`: a review of the item with id "".
  TSRReview() : itemId(std::string()) {}

  std::optional<std::string> itemId;
  std::optional<double> date;  // seconds since 1970; written as milliseconds
  std::optional<double> rating;
  std::optional<std::string> title;
  std::optional<std::string> content;
  std::optional<std::string> userDisplayName;
  // Whether the reviewer bought the item; written only when true.
  bool purchased = false;

  static std::shared_ptr<TSRReview> initWithItemId(const std::string& itemId);
  static std::shared_ptr<TSRReview> reviewWithItemId(const std::string& itemId, std::optional<double> date,
                                                     std::optional<double> rating,
                                                     const std::optional<std::string>& title, bool purchased);

  // "date", "itemId", "rating", "title", "content", "userDisplayName" when
  // set, and "purchased" only when true.
  Json toJSONDictionary() const;
};

}  // namespace tessarin

#endif  // TESSARIN_REVIEW_H_

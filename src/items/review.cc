// TSRReview: what the user thought of an item.
#include "tessarin/review.h"

#include "items/json_fields.h"

namespace tessarin {

std::shared_ptr<TSRReview> TSRReview::initWithItemId(const std::string& itemId) {
  auto review = std::make_shared<TSRReview>();
  review->itemId = itemId;
  return review;
}

std::shared_ptr<TSRReview> TSRReview::reviewWithItemId(const std::string& itemId, std::optional<double> date,
                                                       std::optional<double> rating,
                                                       const std::optional<std::string>& title, bool purchased) {
  auto review = initWithItemId(itemId);
  review->date = date;
  review->rating = rating;
  review->title = title;
  review->purchased = purchased;
  return review;
}

Json TSRReview::toJSONDictionary() const {
  Json json = Json::object();
  items::PutDate(json, "date", date);
  items::PutString(json, "itemId", itemId);
  items::PutNumber(json, "rating", rating);
  items::PutString(json, "title", title);
  items::PutString(json, "content", content);
  items::PutString(json, "userDisplayName", userDisplayName);
  // Not buying is the default the service assumes, so only a purchase is said.
  if (purchased) json["purchased"] = true;
  return json;
}

}  // namespace tessarin

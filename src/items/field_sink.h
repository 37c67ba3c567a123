// An item's fields, handed over one at a time in the order its JSON holds
// them.
//
// Each item class names its fields once, in writeFields. The item's JSON
// (JsonFieldSink) and the text an item view writes straight from the object
// are both made from that one description, so the two can never disagree
// on a key, a value's form or the order.
#ifndef TESSARIN_ITEMS_FIELD_SINK_H_
#define TESSARIN_ITEMS_FIELD_SINK_H_

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tessarin/items.h"
#include "tessarin/location.h"

namespace tessarin::items {

// Which list of nested items a field holds; it decides the class its
// elements must have.
enum class NestedList { kTags, kCategories };

class FieldSink {
 public:
  virtual ~FieldSink() = default;

  virtual void Text(const char* key, const std::string& value) = 0;
  // Text the SDK itself supplies: type codes, tag types, promotion states.
  virtual void Code(const char* key, const char* value) = 0;
  // Written as NumberJson writes it.
  virtual void Number(const char* key, double value) = 0;
  // Seconds since 1970, written as DateJson writes them.
  virtual void Date(const char* key, double seconds) = 0;
  virtual void Flag(const char* key, bool value) = 0;
  // Handed over only when `list` has elements; whether they are of the
  // class `kind` asks for is for the sink to judge.
  virtual void Items(const char* key, const std::vector<std::shared_ptr<TSRItem>>& list, NestedList kind) = 0;
  virtual void Location(const char* key, const TSRLocation& location) = 0;

  void TextIfSet(const char* key, const std::optional<std::string>& value) {
    if (value) Text(key, *value);
  }
  void NumberIfSet(const char* key, const std::optional<double>& value) {
    if (value) Number(key, *value);
  }
  void DateIfSet(const char* key, const std::optional<double>& seconds) {
    if (seconds) Date(key, *seconds);
  }
};

// Builds the item's JSON object: the form toJSONDictionary answers.
class JsonFieldSink final : public FieldSink {
 public:
  // `json` is an object that holds none of the fields yet.
  explicit JsonFieldSink(Json& json) : json_(json) {}

  void Text(const char* key, const std::string& value) override;
  void Code(const char* key, const char* value) override;
  void Number(const char* key, double value) override;
  void Date(const char* key, double seconds) override;
  void Flag(const char* key, bool value) override;
  void Items(const char* key, const std::vector<std::shared_ptr<TSRItem>>& list, NestedList kind) override;
  void Location(const char* key, const TSRLocation& location) override;

 private:
  Json& json_;
};

}  // namespace tessarin::items

#endif  // TESSARIN_ITEMS_FIELD_SINK_H_

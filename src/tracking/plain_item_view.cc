#include "tracking/plain_item_view.h"

#include <cmath>
#include <string_view>
#include <typeinfo>
#include <vector>

#include "items/field_sink.h"
#include "items/json_fields.h"
#include "tracking/item_field_tables.h"
#include "util/json_writer.h"

namespace tessarin {
namespace {

// Where a value's text lies within the item's text.
struct Span {
  std::size_t from = 0;
  std::size_t to = 0;
  bool set() const { return to != from; }
};

// The values a condensed item, or one of its condensed elements, keeps.
struct Kept {
  Span id, type, price, currency, tag_type;
};

// What part an item plays in the view, which decides what is checked of it
// (as the full path checks it) and what of it the condensed item keeps.
enum class Role {
  kItem,      // the viewed item
  kCategory,  // an element of its "categories"
  kTag,       // an element of its "tags"
  kDeeper,    // any item nested further down: written, not checked
};

struct ViewState {
  explicit ViewState(std::string* text) : out(text) {}
  JsonTextWriter out;
  bool plain = true;
  Kept item;
  std::vector<Kept> categories;
  std::vector<Kept> tags;
};

bool IsPlainClass(const TSRItem& item) {
  const std::type_info& type = typeid(item);
  return type == typeid(TSRProduct) || type == typeid(TSRArticle) || type == typeid(TSRBlog) ||
         type == typeid(TSRCategory) || type == typeid(TSRTag);
}

void WriteItem(ViewState& state, const TSRItem& item, Role role, Kept* kept);

// Writes one item's fields as its JSON object holds them, checking each
// against what the full path would say of it; the first thing it would
// log makes the item not plain, and the rest is skipped.
class PlainFieldSink final : public items::FieldSink {
 public:
  PlainFieldSink(ViewState& state, Role role, const TSRFieldSet* known, Kept* kept)
      : state_(state), role_(role), known_(known), kept_(kept) {}

  void Text(const char* key, const std::string& value) override {
    if (!Key(key)) return;
    std::size_t from = state_.out.size();
    if (!state_.out.String(value)) return Refuse();
    if (value.empty() && role_ != Role::kDeeper && IsRequiredKey(key)) return Refuse();
    Keep(key, from);
  }

  void Code(const char* key, const char* value) override { Text(key, value); }

  void Number(const char* key, double value) override {
    if (!Key(key)) return;
    if (!std::isfinite(value)) return Refuse();
    std::size_t from = state_.out.size();
    state_.out.Value(items::NumberJson(value));
    Keep(key, from);
  }

  void Date(const char* key, double seconds) override {
    if (!Key(key)) return;
    state_.out.Value(items::DateJson(seconds));
  }

  void Flag(const char* key, bool value) override {
    if (!Key(key)) return;
    state_.out.Put(value ? std::string_view("true") : std::string_view("false"));
  }

  void Items(const char* key, const std::vector<std::shared_ptr<TSRItem>>& list, items::NestedList kind) override {
    if (!Key(key)) return;
    const std::type_info& expected = kind == items::NestedList::kTags ? typeid(TSRTag) : typeid(TSRCategory);
    Role nested = Role::kDeeper;
    std::vector<Kept>* kept = nullptr;
    if (role_ == Role::kItem) {
      nested = kind == items::NestedList::kTags ? Role::kTag : Role::kCategory;
      kept = kind == items::NestedList::kTags ? &state_.tags : &state_.categories;
      kept->resize(list.size());
    }
    state_.out.Put('[');
    for (std::size_t i = 0; i < list.size() && state_.plain; ++i) {
      const TSRItem* element = list[i].get();
      // The full path skips an element of another class, and a subclass
      // may write its own JSON.
      if (!element || typeid(*element) != expected) return Refuse();
      if (i > 0) state_.out.Put(',');
      WriteItem(state_, *element, nested, kept ? &(*kept)[i] : nullptr);
    }
    state_.out.Put(']');
  }

  void Location(const char*, const TSRLocation&) override {
    // Rare, with rules of its own for what is written, and a field no
    // item type knows: an item with one takes the full path.
    Refuse();
  }

 private:
  static bool IsRequiredKey(std::string_view key) { return key == "_id" || key == "type" || key == "tagType"; }

  bool Key(const char* key) {
    if (!state_.plain) return false;
    if (known_ && !known_->count(key)) {
      Refuse();
      return false;
    }
    if (!first_) state_.out.Put(',');
    first_ = false;
    state_.out.Key(key);
    return true;
  }

  void Keep(std::string_view key, std::size_t from) {
    if (!kept_) return;
    Span span{from, state_.out.size()};
    if (key == "_id") {
      kept_->id = span;
    } else if (key == "type") {
      kept_->type = span;
    } else if (key == "price") {
      kept_->price = span;
    } else if (key == "currency") {
      kept_->currency = span;
    } else if (key == "tagType") {
      kept_->tag_type = span;
    }
  }

  void Refuse() { state_.plain = false; }

  ViewState& state_;
  Role role_;
  // The keys the item may carry, when they are checked.
  const TSRFieldSet* known_;
  Kept* kept_;
  bool first_ = true;
};

void WriteItem(ViewState& state, const TSRItem& item, Role role, Kept* kept) {
  const TSRFieldSet* known = nullptr;
  if (role != Role::kDeeper) {
    const char* type = item.typeCode();
    known = type ? KnownFieldsForType(type) : nullptr;
    if (!known) {
      state.plain = false;
      return;
    }
  }
  state.out.Put('{');
  // A category's fields are not checked, only its required ones.
  PlainFieldSink sink(state, role, role == Role::kCategory ? nullptr : known, kept);
  item.writeFields(sink);
  state.out.Put('}');
  if (!state.plain || !kept) return;
  // Required: "_id" and "type", and for a tag its tag type.
  const bool tag = std::string_view(item.typeCode()) == "t";
  if (!kept->id.set() || !kept->type.set() || (tag && !kept->tag_type.set())) state.plain = false;
}

// The condensed item, from the kept values, in the order condensing
// gives: "_id", "type", "price", "currency", "categories", "tags",
// "tagType"; elements keep "_id" and "type", and a tag its "tagType".
std::string CondensedText(const ViewState& state) {
  std::string text;
  JsonTextWriter out(&text);
  const JsonTextWriter& item = state.out;
  bool first = true;
  auto field = [&](const char* key, const Span& span) {
    if (!span.set()) return;
    if (!first) out.Put(',');
    first = false;
    out.Key(key);
    out.Put(item.Written(span.from, span.to));
  };
  auto list = [&](const char* key, const std::vector<Kept>& elements) {
    if (elements.empty()) return;
    if (!first) out.Put(',');
    first = false;
    out.Key(key);
    out.Put('[');
    for (std::size_t i = 0; i < elements.size(); ++i) {
      if (i > 0) out.Put(',');
      out.Put('{');
      first = true;
      field("_id", elements[i].id);
      field("type", elements[i].type);
      field("tagType", elements[i].tag_type);
      out.Put('}');
    }
    out.Put(']');
    first = false;
  };
  out.Put('{');
  field("_id", state.item.id);
  field("type", state.item.type);
  field("price", state.item.price);
  field("currency", state.item.currency);
  list("categories", state.categories);
  list("tags", state.tags);
  field("tagType", state.item.tag_type);
  out.Put('}');
  out.Finish();
  return text;
}

}  // namespace

std::optional<PlainItemView> WritePlainItemView(const TSRItem& item) {
  if (!IsPlainClass(item)) return std::nullopt;
  PlainItemView view;
  ViewState state(&view.item);
  WriteItem(state, item, Role::kItem, &state.item);
  if (!state.plain) return std::nullopt;
  view.condensed = CondensedText(state);
  state.out.Finish();
  return view;
}

}  // namespace tessarin

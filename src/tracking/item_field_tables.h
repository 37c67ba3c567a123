// The fields of the catalog objects a context checks and condenses: which
// keys each type may carry, which it requires, and which a condensed item
// keeps. Built once, on first use, and read-only after that.
#ifndef TESSARIN_TRACKING_ITEM_FIELD_TABLES_H_
#define TESSARIN_TRACKING_ITEM_FIELD_TABLES_H_

#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tracking/context_impl.h"

namespace tessarin {

// The keys each kind of reported object may carry. Keys outside these sets
// are reported, never removed.
struct ItemFieldTables {
  std::vector<std::string> required_item{"_id", "type"};
  std::vector<std::string> required_tag{"_id", "type", "tagType"};
  std::vector<std::string> sparse_item{"_id", "type", "price", "currency", "categories", "tags", "tagType"};
  // Which of sparse_item hold nested items ("categories", "tags").
  std::vector<bool> sparse_item_nested{false, false, false, false, true, true, false};
  // The lists of nested items an item may hold, in the order they are
  // checked, and which fields their condensed elements keep.
  struct NestedList {
    std::string list;
    std::string element;
    // A tag's unknown fields are reported from its full form, a
    // category's from its condensed one.
    bool full_form_fields;
    const std::vector<std::string>& kept;
  };
  std::vector<NestedList> nested_lists{{"categories", "category", false, required_item},
                                       {"tags", "tag", true, required_tag}};
  TSRFieldSet known_item{"_id",  "type", "name", "description", "url", "imageUrl", "tags", "promotionState",
                                   "published", "expiration"};
  TSRFieldSet known_categorized_item;
  TSRFieldSet known_line_item{"item", "quantity"};
  TSRFieldSet known_order{"orderId", "lineItems", "totalValue", "totalValueCurrency"};

  // What one type of item may carry, and which of sparse_item that is:
  // the condensed item's unknown fields are found without hashing on
  // every view.
  struct KnownType {
    TSRFieldSet fields;
    std::vector<bool> sparse;
  };
  KnownType blog, article, product, category, tag;

  ItemFieldTables() {
    known_categorized_item = With(known_item, {"categories"});
    blog = Known(With(known_categorized_item, {"modifiedDate", "subtitle"}));
    article = blog;
    product = Known(With(known_categorized_item, {"price", "priceDescription", "listPrice", "currency",
                                                  "inventoryCount", "alternateId", "isProduct"}));
    category = Known(With(known_item, {"isDepartment"}));
    tag = Known(With(known_item, {"tagType"}));
  }

  KnownType Known(TSRFieldSet fields) const {
    std::vector<bool> sparse;
    for (const std::string& name : sparse_item) sparse.push_back(fields.count(name) > 0);
    return KnownType{std::move(fields), std::move(sparse)};
  }

  static TSRFieldSet With(TSRFieldSet base, std::initializer_list<const char*> more) {
    for (const char* key : more) base.insert(key);
    return base;
  }
};

const ItemFieldTables& ItemFields();

// The fields a known type of item may carry; null for a type not known.
const TSRFieldSet* KnownFieldsForType(std::string_view type);
// Which of sparse_item a known type knows; null for a type not known.
const std::vector<bool>* SparseKnownForType(std::string_view type);

}  // namespace tessarin

#endif  // TESSARIN_TRACKING_ITEM_FIELD_TABLES_H_

#include "tracking/item_field_tables.h"

namespace tessarin {

const ItemFieldTables& ItemFields() {
  // Never destroyed: items may be viewed on a thread of the app's while the
  // process exits.
  static const ItemFieldTables* tables = new ItemFieldTables();
  return *tables;
}

namespace {

const ItemFieldTables::KnownType* KnownTypeFor(std::string_view type) {
  const ItemFieldTables& tables = ItemFields();
  if (type == "p") return &tables.product;
  if (type == "a") return &tables.article;
  if (type == "b") return &tables.blog;
  if (type == "c") return &tables.category;
  if (type == "t") return &tables.tag;
  return nullptr;
}

}  // namespace

const TSRFieldSet* KnownFieldsForType(std::string_view type) {
  const ItemFieldTables::KnownType* known = KnownTypeFor(type);
  return known ? &known->fields : nullptr;
}

const std::vector<bool>* SparseKnownForType(std::string_view type) {
  const ItemFieldTables::KnownType* known = KnownTypeFor(type);
  return known ? &known->sparse : nullptr;
}

}  // namespace tessarin

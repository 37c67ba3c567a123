#include "tracking/item_field_tables.h"

namespace tessarin {

const ItemFieldTables& ItemFields() {
  static const ItemFieldTables tables;
  return tables;
}

const TSRFieldSet* KnownFieldsForType(std::string_view type) {
  const ItemFieldTables& tables = ItemFields();
  if (type == "p") return &tables.known_product;
  if (type == "a") return &tables.known_article;
  if (type == "b") return &tables.known_blog;
  if (type == "c") return &tables.known_category;
  if (type == "t") return &tables.known_tag;
  return nullptr;
}

const std::vector<bool>* SparseKnownForType(std::string_view type) {
  const ItemFieldTables& tables = ItemFields();
  if (type == "p") return &tables.sparse_known_product;
  if (type == "a") return &tables.sparse_known_article;
  if (type == "b") return &tables.sparse_known_blog;
  if (type == "c") return &tables.sparse_known_category;
  if (type == "t") return &tables.sparse_known_tag;
  return nullptr;
}

}  // namespace tessarin

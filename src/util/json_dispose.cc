#include "util/json_dispose.h"

namespace tessarin {
namespace {

// Far deeper than any item, event or campaign; deep enough documents are
// freed by the library's own loop instead of this recursion.
constexpr int kDeepestLevel = 32;

void Empty(Json& value, int level) {
  if (level > kDeepestLevel) return;
  if (value.is_object()) {
    auto& fields = value.get_ref<Json::object_t&>();
    for (auto& field : fields) Empty(field.second, level + 1);
    fields.clear();
  } else if (value.is_array()) {
    auto& elements = value.get_ref<Json::array_t&>();
    for (Json& element : elements) Empty(element, level + 1);
    elements.clear();
  }
}

}  // namespace

void DisposeJson(Json& value) { Empty(value, 0); }

}  // namespace tessarin

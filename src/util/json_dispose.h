// Freeing JSON documents on the SDK's busiest paths.
#ifndef TESSARIN_UTIL_JSON_DISPOSE_H_
#define TESSARIN_UTIL_JSON_DISPOSE_H_

#include "tessarin/json.h"

namespace tessarin {

// Empties `value`'s objects and arrays from the leaves up, leaving `value`
// an empty container. The JSON library's destructor copes with documents
// of any depth by moving every container's children onto a scratch list on
// the heap first, one list per container; a document emptied this way
// costs it nothing of that. Levels deeper than a small limit are left to
// the destructor, so a document of any depth stays safe to free.
void DisposeJson(Json& value);

}  // namespace tessarin

#endif  // TESSARIN_UTIL_JSON_DISPOSE_H_

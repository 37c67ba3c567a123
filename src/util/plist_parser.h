// Reading XML property lists (the provisioning profile's embedded plist) into
// the SDK's JSON value type.
//
// dict, array, string, key, integer, real, true and false map to their JSON
// counterparts; a date stays the text it was written as, and data becomes its
// base64 text (canonical, without the line breaks plists wrap it in). Any
// error (unbalanced or unknown elements, a bad entity or number, bad base64,
// text that is not UTF-8, anything after the root) yields nothing.
#ifndef TESSARIN_UTIL_PLIST_PARSER_H_
#define TESSARIN_UTIL_PLIST_PARSER_H_

#include <optional>
#include <string_view>

#include "tessarin/json.h"

namespace tessarin {

// `xml` holds one document whose root element is <plist>, optionally after
// an XML declaration, a DOCTYPE and comments.
std::optional<Json> ParseXMLPropertyList(std::string_view xml);

}  // namespace tessarin

#endif  // TESSARIN_UTIL_PLIST_PARSER_H_

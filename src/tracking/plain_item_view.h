// The texts an item view needs, written straight from a catalog object.
//
// An item view of a catalog object normally makes the object's JSON, checks
// it, writes it out for the view event and keeps it to be condensed for the
// ping. For a plain object, one the SDK's own classes describe and whose
// JSON passes every check without a line of log, the outcome of all that is
// known in advance: just the two texts. Writing them directly from the
// object spares building and freeing the JSON on every view.
#ifndef TESSARIN_TRACKING_PLAIN_ITEM_VIEW_H_
#define TESSARIN_TRACKING_PLAIN_ITEM_VIEW_H_

#include <optional>
#include <string>

#include "tessarin/items.h"

namespace tessarin {

struct PlainItemView {
  // The view event's item: the item's JSON, written out.
  std::string item;
  // The condensed item that the view's pings carry, written out.
  std::string condensed;
};

// The texts for `item`, or nothing when the item is not plain, so that the
// full path must take it and say what it finds. An item is plain when:
//   - it and every item nested in it are exactly TSRProduct, TSRArticle,
//     TSRBlog, TSRCategory or TSRTag (a subclass may write other JSON), and
//     its lists hold only the class they are meant for;
//   - it has its required fields (a tag also its tag type), and only fields
//     its type knows; so do the tags in its "tags"; its categories have
//     their required fields;
//   - all its text is UTF-8, its numbers are finite, and no item in it has
//     a location.
std::optional<PlainItemView> WritePlainItemView(const TSRItem& item);

}  // namespace tessarin

#endif  // TESSARIN_TRACKING_PLAIN_ITEM_VIEW_H_

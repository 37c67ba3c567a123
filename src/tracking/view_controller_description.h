// TSRViewControllerDescription: what the SDK knows of one view controller,
// as the view-action rules and design mode see it.
//
// A description may carry the description of the view controller's parent
// (or, failing that, of the one presenting it), so a rule can match on
// where a screen sits as well as on what it is.
#ifndef TESSARIN_TRACKING_VIEW_CONTROLLER_DESCRIPTION_H_
#define TESSARIN_TRACKING_VIEW_CONTROLLER_DESCRIPTION_H_

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tessarin/json.h"

namespace tessarin {

class TSRViewControllerDescription {
 public:
  // Every field is optional; only the fields that are set reach the JSON.
  std::optional<std::string> name;
  std::optional<std::string> title;
  std::optional<std::string> nibName;
  std::optional<std::string> className;
  std::optional<std::vector<std::string>> classHierarchy;
  std::optional<std::string> restorationIdentifier;
  std::optional<std::string> navigationItemTitle;
  std::optional<std::string> accessibilityLabel;
  std::optional<std::vector<std::string>> storyboardSegueIds;
  std::shared_ptr<TSRViewControllerDescription> parentDescription;
  std::shared_ptr<TSRViewControllerDescription> presentingDescription;

  // The fields that are set, in the order above; nested descriptions as
  // nested objects.
  Json toJSONObject() const;
  std::optional<std::string> toJSONStringPrettyPrinted(bool prettyPrinted) const;

  // Equal when the JSON objects are.
  bool isEqualToVCD(const TSRViewControllerDescription* other) const;
  bool operator==(const TSRViewControllerDescription& other) const { return isEqualToVCD(&other); }
  // Folds the fields in order, h = 31 * h + next, wrapping on overflow.
  std::size_t hash() const;

  // "<TSRViewControllerDescription: {json}>", for log lines.
  std::string description() const;
};

}  // namespace tessarin

#endif  // TESSARIN_TRACKING_VIEW_CONTROLLER_DESCRIPTION_H_

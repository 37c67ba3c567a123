#include "layout/layout_file.h"

#include <cmath>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <vector>

#include "platform/ui/layout/layout_constraint.h"
#include "platform/ui/layout/layout_engine.h"
#include "platform/ui/layout/layout_item.h"

namespace tessarin::tools {
namespace {

using nlohmann::ordered_json;
using platform::ui::Axis;
using platform::ui::LayoutAttribute;
using platform::ui::LayoutDirection;
using platform::ui::LayoutRelation;
using platform::ui::Rect;
using platform::ui::Size;
using platform::ui::layout::LayoutConstraint;
using platform::ui::layout::LayoutEngine;
using platform::ui::layout::LayoutItem;

constexpr const char* kRootName = "root";

class FileView : public LayoutItem {
 public:
  explicit FileView(const std::string& name) { setLayoutName(name); }
  LayoutItem* layoutParent() const override { return parent; }
  Size intrinsicContentSize(double) const override { return intrinsic; }
  void applyLayoutFrame(const Rect& rect) override { frame = rect; }

  FileView* parent = nullptr;
  std::vector<LayoutItem*> children;
  Size intrinsic{platform::ui::kNoIntrinsicMetric, platform::ui::kNoIntrinsicMetric};
  Rect frame;
};

struct Failure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

double pairValue(const ordered_json& value, int index, const std::string& what) {
  if (!value.is_array() || value.size() != 2 || !value[index].is_number()) {
    throw Failure(what + " must be an array of two numbers");
  }
  return value[index].get<double>();
}

LayoutAttribute attributeNamed(const std::string& name) {
  static const std::map<std::string, LayoutAttribute> kNames = {
      {"notAnAttribute", LayoutAttribute::kNotAnAttribute},
      {"left", LayoutAttribute::kLeft},
      {"right", LayoutAttribute::kRight},
      {"top", LayoutAttribute::kTop},
      {"bottom", LayoutAttribute::kBottom},
      {"leading", LayoutAttribute::kLeading},
      {"trailing", LayoutAttribute::kTrailing},
      {"width", LayoutAttribute::kWidth},
      {"height", LayoutAttribute::kHeight},
      {"centerX", LayoutAttribute::kCenterX},
      {"centerY", LayoutAttribute::kCenterY},
      {"leftMargin", LayoutAttribute::kLeftMargin},
      {"rightMargin", LayoutAttribute::kRightMargin},
      {"topMargin", LayoutAttribute::kTopMargin},
      {"bottomMargin", LayoutAttribute::kBottomMargin},
      {"leadingMargin", LayoutAttribute::kLeadingMargin},
      {"trailingMargin", LayoutAttribute::kTrailingMargin},
      {"centerXWithinMargins", LayoutAttribute::kCenterXWithinMargins},
      {"centerYWithinMargins", LayoutAttribute::kCenterYWithinMargins},
  };
  auto it = kNames.find(name);
  if (it == kNames.end()) throw Failure("unknown attribute \"" + name + "\"");
  return it->second;
}

LayoutRelation relationNamed(const std::string& name) {
  if (name == "==") return LayoutRelation::kEqual;
  if (name == "<=") return LayoutRelation::kLessThanOrEqual;
  if (name == ">=") return LayoutRelation::kGreaterThanOrEqual;
  throw Failure("unknown relation \"" + name + "\"");
}

double rounded(double value) { return std::round(value * 100) / 100 + 0.0; }

class Screen {
 public:
  explicit Screen(const ordered_json& doc) : root_(kRootName) {
    if (!doc.is_object()) throw Failure("the file must hold a JSON object");
    if (!doc.contains("size")) throw Failure("\"size\" is missing");
    size_ = {pairValue(doc["size"], 0, "\"size\""), pairValue(doc["size"], 1, "\"size\"")};
    if (!doc.contains("views") || !doc["views"].is_object()) throw Failure("\"views\" must be an object");
    if (doc.contains("direction")) {
      std::string direction = doc["direction"].is_string() ? doc["direction"].get<std::string>() : "";
      if (direction != "ltr" && direction != "rtl") throw Failure("\"direction\" must be \"ltr\" or \"rtl\"");
      direction_ = direction == "rtl" ? LayoutDirection::kRightToLeft : LayoutDirection::kLeftToRight;
    }
    readViews(doc["views"]);
    readMetrics(doc.value("metrics", ordered_json::object()));
    if (!doc.contains("formats") || !doc["formats"].is_array()) throw Failure("\"formats\" must be an array");
    readFormats(doc["formats"]);
    readConstraints(doc.value("constraints", ordered_json::array()));
  }

  std::string layOut() {
    LayoutEngine engine;
    engine.setLayoutDirection(direction_);
    std::string error;
    bool solved = engine.layout(&root_, Rect{0, 0, size_.width, size_.height},
                                [](LayoutItem* item) { return static_cast<FileView*>(item)->children; }, &error);
    if (!solved) throw Failure(error);
    ordered_json frames = ordered_json::object();
    for (const auto& view : views_) {
      const Rect& f = view->frame;
      frames[view->layoutName()] = {rounded(f.x), rounded(f.y), rounded(f.width), rounded(f.height)};
    }
    return frames.dump();
  }

 private:
  FileView* find(const std::string& name) {
    if (name == kRootName) return &root_;
    auto it = byName_.find(name);
    if (it == byName_.end()) throw Failure("unknown view \"" + name + "\"");
    return it->second;
  }

  void readViews(const ordered_json& views) {
    for (const auto& [name, entry] : views.items()) {
      if (name == kRootName || name == "|") throw Failure("\"" + name + "\" cannot name a view");
      auto view = std::make_unique<FileView>(name);
      byName_[name] = view.get();
      views_.push_back(std::move(view));
    }
    for (const auto& [name, entry] : views.items()) {
      if (!entry.is_object()) throw Failure("view \"" + name + "\" must be an object");
      FileView* view = byName_[name];
      std::string what = "\"" + name + "\"";
      if (entry.contains("intrinsic")) {
        view->intrinsic = {pairValue(entry["intrinsic"], 0, what + " intrinsic"),
                           pairValue(entry["intrinsic"], 1, what + " intrinsic")};
      }
      if (entry.contains("hugging")) {
        view->setContentHuggingPriority(pairValue(entry["hugging"], 0, what + " hugging"), Axis::kHorizontal);
        view->setContentHuggingPriority(pairValue(entry["hugging"], 1, what + " hugging"), Axis::kVertical);
      }
      if (entry.contains("compression")) {
        const ordered_json& c = entry["compression"];
        view->setContentCompressionResistancePriority(pairValue(c, 0, what + " compression"), Axis::kHorizontal);
        view->setContentCompressionResistancePriority(pairValue(c, 1, what + " compression"), Axis::kVertical);
      }
      // Beyond flat screens: a view may sit in another one, and then "|"
      // in a format about it means that view.
      view->parent = entry.contains("parent") && entry["parent"].is_string()
                         ? find(entry["parent"].get<std::string>())
                         : &root_;
    }
    for (const auto& view : views_) {
      int depth = 0;
      for (FileView* p = view->parent; p != &root_; p = p->parent) {
        if (++depth > static_cast<int>(views_.size())) throw Failure("views are nested in a cycle");
      }
      view->parent->children.push_back(view.get());
    }
  }

  void readMetrics(const ordered_json& metrics) {
    if (!metrics.is_object()) throw Failure("\"metrics\" must be an object");
    for (const auto& [name, value] : metrics.items()) {
      if (!value.is_number()) throw Failure("metric \"" + name + "\" must be a number");
      metrics_[name] = value.get<double>();
    }
  }

  void readFormats(const ordered_json& formats) {
    std::map<std::string, LayoutItem*> views(byName_.begin(), byName_.end());
    int index = 0;
    for (const auto& format : formats) {
      ++index;
      if (!format.is_string()) throw Failure("format " + std::to_string(index) + " must be a string");
      std::string error;
      auto constraints =
          LayoutConstraint::constraintsWithVisualFormat(format.get<std::string>(), metrics_, views, nullptr, &error);
      if (!error.empty()) throw Failure("format " + std::to_string(index) + ": " + error);
      LayoutConstraint::activateConstraints(constraints);
    }
  }

  // [first, attribute, relation, second or null, attribute or null, multiplier, constant, priority]
  void readConstraints(const ordered_json& constraints) {
    if (!constraints.is_array()) throw Failure("\"constraints\" must be an array");
    int index = 0;
    for (const auto& c : constraints) {
      std::string what = "constraint " + std::to_string(++index);
      if (!c.is_array() || c.size() != 8 || !c[0].is_string() || !c[1].is_string() || !c[2].is_string() ||
          !(c[3].is_string() || c[3].is_null()) || !(c[4].is_string() || c[4].is_null()) || !c[5].is_number() || !c[6].is_number() ||
          !c[7].is_number()) {
        throw Failure(what + " must be [first, attribute, relation, second, attribute, multiplier, constant, priority]");
      }
      LayoutItem* second = c[3].is_null() ? nullptr : find(c[3].get<std::string>());
      auto constraint = LayoutConstraint::make(find(c[0].get<std::string>()), attributeNamed(c[1].get<std::string>()),
                                               relationNamed(c[2].get<std::string>()), second,
                                               c[4].is_null() ? LayoutAttribute::kNotAnAttribute
                                                              : attributeNamed(c[4].get<std::string>()),
                                               c[5].get<double>(),
                                               c[6].get<double>());
      constraint->setPriority(c[7].get<double>());
      constraint->setActive(true);
    }
  }

  FileView root_;
  Size size_;
  LayoutDirection direction_ = LayoutDirection::kLeftToRight;
  std::vector<std::unique_ptr<FileView>> views_;
  std::map<std::string, FileView*> byName_;
  std::map<std::string, double> metrics_;
};

}  // namespace

bool layOutFile(const std::string& json, std::string* output, std::string* error) {
  try {
    ordered_json doc = ordered_json::parse(json);
    *output = Screen(doc).layOut();
    return true;
  } catch (const ordered_json::exception& e) {
    *error = std::string("not valid JSON: ") + e.what();
  } catch (const Failure& e) {
    *error = e.what();
  }
  return false;
}

}  // namespace tessarin::tools

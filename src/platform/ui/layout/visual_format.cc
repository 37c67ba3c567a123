// A recursive-descent parser over the format string, one pass, no tokens
// kept. Each connection becomes its constraints once the item after it is
// known, so the constraints come out in the order the format reads.
#include "platform/ui/layout/visual_format.h"

#include <cctype>
#include <cstdlib>
#include <vector>

namespace tessarin::platform::ui::layout {
namespace {

// One "[relation] object [@priority]" of a predicate list. `view` is set
// when the object names another view instead of a number.
struct Predicate {
  LayoutRelation relation = LayoutRelation::kEqual;
  double constant = 0;
  std::string view;
  LayoutPriority priority = kLayoutPriorityRequired;
};

class Parser {
 public:
  Parser(const std::string& format, const std::map<std::string, double>& metrics,
         const std::set<std::string>& views)
      : format_(format), metrics_(metrics), views_(views) {}

  FormatResult parse() {
    FormatResult result;
    if (!parseFormat()) {
      result.error = error_;
      return result;
    }
    result.constraints = std::move(constraints_);
    return result;
  }

 private:
  bool atEnd() const { return pos_ >= format_.size(); }
  char peek() const { return atEnd() ? '\0' : format_[pos_]; }

  bool fail(const std::string& what) { return failAt(what, pos_); }
  bool failAt(const std::string& what, std::size_t pos) {
    if (error_.empty()) {
      error_ = what + " at position " + std::to_string(pos) + " of \"" + format_ + "\"";
    }
    return false;
  }
  bool unexpected(const std::string& wanted) {
    if (atEnd()) return fail("expected " + wanted + " but the format ends");
    return fail("expected " + wanted + " but found '" + std::string(1, peek()) + "'");
  }
  bool expect(char c) {
    if (peek() != c) return unexpected(std::string("'") + c + "'");
    ++pos_;
    return true;
  }

  bool parseFormat() {
    if (format_.compare(0, 2, "H:") == 0) {
      pos_ = 2;
    } else if (format_.compare(0, 2, "V:") == 0) {
      vertical_ = true;
      pos_ = 2;
    }
    leading_ = vertical_ ? LayoutAttribute::kTop : LayoutAttribute::kLeading;
    trailing_ = vertical_ ? LayoutAttribute::kBottom : LayoutAttribute::kTrailing;
    size_ = vertical_ ? LayoutAttribute::kHeight : LayoutAttribute::kWidth;

    std::string previous;  // the item before the pending connection
    if (peek() == '|') {
      ++pos_;
      previous = kSuperviewName;
    }
    bool sawView = false;
    for (;;) {
      std::size_t connectionPos = pos_;
      std::vector<Predicate> connection;
      bool hasConnection = false;
      if (peek() == '-') {
        if (previous.empty()) return fail("a connection needs a view or '|' before it");
        hasConnection = true;
        if (!parseConnection(previous == kSuperviewName, &connection)) return false;
      }
      if (peek() == '[') {
        std::string view;
        std::vector<Predicate> predicates;
        if (!parseView(&view, &predicates)) return false;
        if (!previous.empty()) connect(previous, view, hasConnection ? connection : flush());
        for (const Predicate& p : predicates) addSizePredicate(view, p);
        previous = view;
        sawView = true;
        continue;
      }
      if (peek() == '|') {
        if (!sawView) return fail("expected a view between the superview bars");
        // The standard spacing was taken as the one between siblings; at
        // the superview edge it is wider.
        if (hasConnection && standard_) connection.front().constant = kStandardSuperviewSpacing;
        ++pos_;
        connect(previous, kSuperviewName, hasConnection ? connection : flush());
        if (!atEnd()) return unexpected("the end of the format after the closing '|'");
        return true;
      }
      if (atEnd()) {
        if (hasConnection) return failAt("the connection has no view or '|' after it", connectionPos);
        if (!sawView) return fail("expected a view");
        return true;
      }
      return unexpected(sawView ? "'-', '[' or '|'" : "'[' or '|'");
    }
  }

  static std::vector<Predicate> flush() { return {Predicate{}}; }

  // "-", "-N-", "-metric-" or "-(predicates)-"; the leading '-' is current.
  bool parseConnection(bool fromSuperview, std::vector<Predicate>* out) {
    std::size_t start = pos_++;
    standard_ = false;
    if (atEnd()) return failAt("the connection has no view or '|' after it", start);
    if (peek() == '[' || peek() == '|') {
      standard_ = true;
      Predicate p;
      p.constant = fromSuperview ? kStandardSuperviewSpacing : kStandardSiblingSpacing;
      out->push_back(p);
      return true;
    }
    if (peek() == '(') {
      ++pos_;
      if (!parsePredicateList(false, out)) return false;
      if (!expect(')')) return false;
    } else {
      Predicate p;
      if (!parseObject(false, &p)) return false;
      out->push_back(p);
    }
    if (atEnd()) return failAt("the connection has no closing '-'", start);
    return expect('-');
  }

  bool parseView(std::string* name, std::vector<Predicate>* predicates) {
    ++pos_;  // '['
    std::size_t start = pos_;
    if (!parseIdentifier(name)) return unexpected("a view name");
    if (views_.count(*name) == 0) return failAt("unknown view '" + *name + "'", start);
    if (peek() == '(') {
      ++pos_;
      if (!parsePredicateList(true, predicates)) return false;
      if (!expect(')')) return false;
    }
    return expect(']');
  }

  bool parsePredicateList(bool allowViews, std::vector<Predicate>* out) {
    for (;;) {
      Predicate p;
      if (format_.compare(pos_, 2, "==") == 0) {
        pos_ += 2;
      } else if (format_.compare(pos_, 2, "<=") == 0) {
        p.relation = LayoutRelation::kLessThanOrEqual;
        pos_ += 2;
      } else if (format_.compare(pos_, 2, ">=") == 0) {
        p.relation = LayoutRelation::kGreaterThanOrEqual;
        pos_ += 2;
      }
      if (!parseObject(allowViews, &p)) return false;
      if (peek() == '@') {
        ++pos_;
        std::size_t start = pos_;
        double priority;
        if (!parseNumberOrMetric(&priority, "a priority")) return false;
        if (!(priority > 0 && priority <= kLayoutPriorityRequired)) {
          return failAt("priority " + formatNumber(priority) + " is not between 1 and 1000", start);
        }
        p.priority = priority;
      }
      out->push_back(p);
      if (peek() != ',') return true;
      ++pos_;
    }
  }

  // A number, a metric or, where allowed, another view's name.
  bool parseObject(bool allowViews, Predicate* p) {
    std::size_t start = pos_;
    std::string name;
    if (parseIdentifier(&name)) {
      auto metric = metrics_.find(name);
      if (metric != metrics_.end()) {
        p->constant = metric->second;
        return true;
      }
      if (allowViews && views_.count(name) != 0) {
        p->view = name;
        return true;
      }
      return failAt(std::string(allowViews ? "unknown metric or view '" : "unknown metric '") + name + "'", start);
    }
    if (parseNumber(&p->constant)) return true;
    return unexpected(allowViews ? "a number, metric or view name" : "a number or metric");
  }

  bool parseNumberOrMetric(double* value, const char* what) {
    std::size_t start = pos_;
    std::string name;
    if (parseIdentifier(&name)) {
      auto metric = metrics_.find(name);
      if (metric == metrics_.end()) return failAt("unknown metric '" + name + "'", start);
      *value = metric->second;
      return true;
    }
    if (parseNumber(value)) return true;
    return unexpected(what);
  }

  bool parseIdentifier(std::string* out) {
    std::size_t start = pos_;
    if (atEnd() || !(std::isalpha(static_cast<unsigned char>(peek())) || peek() == '_')) return false;
    while (!atEnd() && (std::isalnum(static_cast<unsigned char>(peek())) || peek() == '_')) ++pos_;
    *out = format_.substr(start, pos_ - start);
    return true;
  }

  // Digits with an optional fraction; a sign only inside parentheses,
  // where it cannot be read as a connection.
  bool parseNumber(double* out) {
    std::size_t start = pos_;
    std::size_t p = pos_;
    if (p < format_.size() && (format_[p] == '-' || format_[p] == '+') && start > 0 &&
        (format_[start - 1] == '(' || format_[start - 1] == ',' || format_[start - 1] == '=')) {
      ++p;
    }
    std::size_t digits = p;
    while (p < format_.size() && std::isdigit(static_cast<unsigned char>(format_[p]))) ++p;
    if (p < format_.size() && format_[p] == '.') {
      ++p;
      while (p < format_.size() && std::isdigit(static_cast<unsigned char>(format_[p]))) ++p;
    }
    if (p == digits || (p == digits + 1 && format_[digits] == '.')) return false;
    *out = std::strtod(format_.substr(start, p - start).c_str(), nullptr);
    pos_ = p;
    return true;
  }

  static std::string formatNumber(double value) {
    std::string s = std::to_string(value);
    s.erase(s.find_last_not_of('0') + 1);
    if (!s.empty() && s.back() == '.') s.pop_back();
    return s;
  }

  // `next` placed after `previous` along the line: next.leading relates to
  // previous.trailing. Towards the closing bar the superview comes first,
  // so that the constant is the gap in both cases.
  void connect(const std::string& previous, const std::string& next, const std::vector<Predicate>& predicates) {
    for (const Predicate& p : predicates) {
      FormatConstraint c;
      c.first = next;
      c.firstAttribute = next == kSuperviewName ? trailing_ : leading_;
      c.relation = p.relation;
      c.second = previous;
      c.secondAttribute = previous == kSuperviewName ? leading_ : trailing_;
      c.constant = p.constant;
      c.priority = p.priority;
      constraints_.push_back(c);
    }
  }

  void addSizePredicate(const std::string& view, const Predicate& p) {
    FormatConstraint c;
    c.first = view;
    c.firstAttribute = size_;
    c.relation = p.relation;
    if (!p.view.empty()) {
      c.second = p.view;
      c.secondAttribute = size_;
    } else {
      c.constant = p.constant;
    }
    c.priority = p.priority;
    constraints_.push_back(c);
  }

  const std::string& format_;
  const std::map<std::string, double>& metrics_;
  const std::set<std::string>& views_;
  std::size_t pos_ = 0;
  bool vertical_ = false;
  bool standard_ = false;  // the last connection was a bare "-"
  LayoutAttribute leading_ = LayoutAttribute::kLeading;
  LayoutAttribute trailing_ = LayoutAttribute::kTrailing;
  LayoutAttribute size_ = LayoutAttribute::kWidth;
  std::vector<FormatConstraint> constraints_;
  std::string error_;
};

}  // namespace

FormatResult parseVisualFormat(const std::string& format, const std::map<std::string, double>& metrics,
                               const std::set<std::string>& views) {
  return Parser(format, metrics, views).parse();
}

}  // namespace tessarin::platform::ui::layout

// Catalog items: what the user looks at or buys.
//
//   TSRItem ─┬─ TSRCategory            (type "c")
//            ├─ TSRTag                 (type "t")
//            └─ TSRCategorizedItem ─┬─ TSRProduct  (type "p")
//                                   ├─ TSRArticle  (type "a")
//                                   └─ TSRBlog     (type "b")
//
// Items are shared objects (std::shared_ptr) with public fields that the app
// fills in. A field that is not set is an empty std::optional (or an empty
// vector) and is left out of the item's JSON. Conventions:
//   - numbers are doubles; whole numbers are written without a fraction;
//   - dates are seconds since 1970 (doubles); the JSON form carries them as
//     milliseconds since 1970, truncated;
//   - the id (`tsrId`, "_id") is the only required field: the constructors
//     that take an id yield null for an empty one, and an item read from
//     JSON without a non-empty "_id" is refused.
//
// Nothing here throws on bad input: what cannot be used is logged and left
// out. Every item's JSON carries "type" with its one-letter code; the JSON
// keys are the TSRItem_* constants below.
//
// Thread contract: an item is a plain value the app owns. Build and change
// it on one thread; once handed to a context it is turned into JSON on the
// caller's thread before the call returns, so the app may change or drop
// it afterwards. Reading one item from several threads is safe.
#ifndef TESSARIN_ITEMS_H_
#define TESSARIN_ITEMS_H_

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tessarin/export.h"
#include "tessarin/json.h"
#include "tessarin/location.h"

namespace tessarin {

namespace items {
// Receives an item's fields as the SDK writes them (internal).
class FieldSink;
}  // namespace items

// JSON keys. Note that the field `subTitle` is written under "subtitle".
inline constexpr const char* TSRItem_tsrId = "_id";
inline constexpr const char* TSRItem_type = "type";
inline constexpr const char* TSRItem_name = "name";
inline constexpr const char* TSRItem_tsrDescription = "description";
inline constexpr const char* TSRItem_url = "url";
inline constexpr const char* TSRItem_imageUrl = "imageUrl";
inline constexpr const char* TSRItem_published = "published";
inline constexpr const char* TSRItem_expiration = "expiration";
inline constexpr const char* TSRItem_tags = "tags";
inline constexpr const char* TSRItem_promotionState = "promotionState";
inline constexpr const char* TSRItem_location = "location";
inline constexpr const char* TSRItem_rating = "rating";
inline constexpr const char* TSRItem_numRatings = "numRatings";
inline constexpr const char* TSRItem_categories = "categories";
inline constexpr const char* TSRItem_price = "price";
inline constexpr const char* TSRItem_priceDescription = "priceDescription";
inline constexpr const char* TSRItem_listPrice = "listPrice";
inline constexpr const char* TSRItem_currency = "currency";
inline constexpr const char* TSRItem_inventoryCount = "inventoryCount";
inline constexpr const char* TSRItem_alternateId = "alternateId";
inline constexpr const char* TSRItem_modifiedDate = "modifiedDate";
inline constexpr const char* TSRItem_subTitle = "subtitle";
inline constexpr const char* TSRItem_isDepartment = "isDepartment";
inline constexpr const char* TSRItem_tagType = "tagType";

// Whether the service should favour or leave out an item in its
// recommendations. Written as "Prioritized" or "Excluded"; none is not written.
enum TSRPromotionState : long {
  TSRPromotionState_none = 0,
  TSRPromotionState_prioritized = 1,
  TSRPromotionState_excluded = 2,
};
inline constexpr const char* TSRPromotionStateString_prioritized = "Prioritized";
inline constexpr const char* TSRPromotionStateString_excluded = "Excluded";

// What a tag names. Written as the strings below; a value outside 0...6 is
// not written.
enum TSRTagType : long {
  TSRTagType_brand = 0,
  TSRTagType_itemClass = 1,
  TSRTagType_gender = 2,
  TSRTagType_style = 3,
  TSRTagType_author = 4,
  TSRTagType_keyword = 5,
  TSRTagType_contentClass = 6,
};
inline constexpr const char* TSRTagTypeString_brand = "Brand";
inline constexpr const char* TSRTagTypeString_itemClass = "ItemClass";
inline constexpr const char* TSRTagTypeString_gender = "Gender";
inline constexpr const char* TSRTagTypeString_style = "Style";
inline constexpr const char* TSRTagTypeString_author = "Author";
inline constexpr const char* TSRTagTypeString_keyword = "Keyword";
inline constexpr const char* TSRTagTypeString_contentClass = "ContentClass";

class TESSARIN_EXPORT TSRItem {
 public:
  // `init`: an item with nothing set (not even its id).
  TSRItem() = default;
  virtual ~TSRItem() = default;

  std::optional<std::string> tsrId;
  std::optional<std::string> name;
  std::optional<std::string> tsrDescription;
  std::optional<std::string> url;
  std::optional<std::string> imageUrl;
  std::optional<double> published;   // seconds since 1970
  std::optional<double> expiration;  // seconds since 1970
  // Tags of the item. Elements that are not TSRTag (or are null) are
  // skipped, with a warning, when the item is written.
  std::vector<std::shared_ptr<TSRItem>> tags;
  TSRPromotionState promotionState = TSRPromotionState_none;
  std::shared_ptr<TSRLocation> location;
  std::optional<double> rating;
  std::optional<double> numRatings;

  // An item with this id, or null when the id is empty.
  static std::shared_ptr<TSRItem> initWithTsrId(const std::string& tsrId);
  // An item of this class with the base fields read from `json`; null (and
  // logged) for null input or a missing or empty "_id".
  static std::shared_ptr<TSRItem> initWithJSON(const Json* json);

  // The item of the class named by "type" ("p", "a", "b", "c", "t"), or
  // null (logged) for null input, another type, or an invalid item.
  static std::shared_ptr<TSRItem> fromJSONDictionary(const Json* json);
  // The items built from the objects of a JSON array, in order; other
  // elements are logged and skipped, as are objects that give no item.
  static std::vector<std::shared_ptr<TSRItem>> fromJSONArray(const Json* json);

  // Every field that is set, under its key, with "type" from the class.
  virtual Json toJSONDictionary() const;

  // The class name, as log lines name an object's class ("TSRProduct").
  virtual const char* className() const { return "TSRItem"; }
  // The one-letter type code, or null for classes that have none.
  virtual const char* typeCode() const { return nullptr; }
  // "<TSRProduct: _id=sku-1>", for log lines.
  std::string description() const;
  // Hands this class's set fields to `out`, in the order the JSON form
  // holds them; a subclass hands over its base's first. The SDK writes an
  // item's JSON, and the text of a view of it, from this one description.
  virtual void writeFields(items::FieldSink& out) const;

 protected:
  // Reads this class's fields from `json`; false (logged) when the JSON
  // cannot make an item of this class. Subclasses read the base first.
  virtual bool readJSON(const Json& json);

  // Shared by the class constructors: `item` filled from `json`, or null.
  template <class T>
  static std::shared_ptr<T> build(std::shared_ptr<T> item, const Json* json) {
    return readInto(*item, json) ? item : nullptr;
  }
  template <class T>
  static std::shared_ptr<T> withId(const std::string& tsrId) {
    if (tsrId.empty()) return nullptr;
    auto item = std::make_shared<T>();
    item->tsrId = tsrId;
    return item;
  }

 private:
  static bool readInto(TSRItem& item, const Json* json);
};

class TESSARIN_EXPORT TSRCategory : public TSRItem {
 public:
  bool isDepartment = false;

  static std::shared_ptr<TSRCategory> initWithTsrId(const std::string& tsrId);
  static std::shared_ptr<TSRCategory> initWithJSON(const Json* json);
  static std::shared_ptr<TSRCategory> categoryWithId(const std::string& tsrId);
  static std::shared_ptr<TSRCategory> categoryWithId(const std::string& tsrId, bool isDepartment,
                                                     const std::optional<std::string>& name,
                                                     const std::optional<std::string>& tsrDescription);
  static std::shared_ptr<TSRCategory> categoryFromJSONDictionary(const Json* json);

  const char* className() const override { return "TSRCategory"; }
  const char* typeCode() const override { return "c"; }

 protected:
  bool readJSON(const Json& json) override;
  void writeFields(items::FieldSink& out) const override;
};

class TESSARIN_EXPORT TSRTag : public TSRItem {
 public:
  TSRTagType tagType = TSRTagType_brand;

  static std::shared_ptr<TSRTag> initWithTsrId(const std::string& tsrId);
  static std::shared_ptr<TSRTag> initWithJSON(const Json* json);
  static std::shared_ptr<TSRTag> tagWithId(const std::string& tsrId, TSRTagType type);
  static std::shared_ptr<TSRTag> tagWithId(const std::string& tsrId, TSRTagType type,
                                           const std::optional<std::string>& name,
                                           const std::optional<std::string>& tsrDescription);
  // Null (logged) unless "tagType" is one of the seven tag type strings.
  static std::shared_ptr<TSRTag> tagFromJSONDictionary(const Json* json);

  // "Brand" ... "ContentClass", or null for a value outside 0...6.
  static const char* tagTypeString(long tagType);
  // The tag type a string names, or nothing.
  static std::optional<TSRTagType> tagTypeFromString(const std::string& string);

  const char* className() const override { return "TSRTag"; }
  const char* typeCode() const override { return "t"; }

 protected:
  bool readJSON(const Json& json) override;
  void writeFields(items::FieldSink& out) const override;
};

// The base of items that belong to categories.
class TESSARIN_EXPORT TSRCategorizedItem : public TSRItem {
 public:
  // Elements that are not TSRCategory (or are null) are skipped, with a
  // warning, when the item is written.
  std::vector<std::shared_ptr<TSRItem>> categories;

  static std::shared_ptr<TSRCategorizedItem> initWithTsrId(const std::string& tsrId);
  static std::shared_ptr<TSRCategorizedItem> initWithJSON(const Json* json);

  // Reads "categories" from `json`; the field is replaced only when at
  // least one category could be built.
  void mergeCategorizedItemFieldsFromJSONDictionary(const Json& json);

  const char* className() const override { return "TSRCategorizedItem"; }

 protected:
  bool readJSON(const Json& json) override;
  void writeFields(items::FieldSink& out) const override;
};

class TESSARIN_EXPORT TSRProduct : public TSRCategorizedItem {
 public:
  std::optional<double> price;
  std::optional<std::string> priceDescription;
  std::optional<double> listPrice;
  std::optional<std::string> currency;
  std::optional<double> inventoryCount;
  std::optional<std::string> alternateId;

  static std::shared_ptr<TSRProduct> initWithTsrId(const std::string& tsrId);
  static std::shared_ptr<TSRProduct> initWithJSON(const Json* json);
  static std::shared_ptr<TSRProduct> productWithId(const std::string& tsrId);
  static std::shared_ptr<TSRProduct> productWithId(const std::string& tsrId, const std::optional<std::string>& name,
                                                   std::optional<double> price, const std::optional<std::string>& url,
                                                   const std::optional<std::string>& imageUrl,
                                                   const std::optional<std::string>& tsrDescription);
  static std::shared_ptr<TSRProduct> productFromJSONDictionary(const Json* json);

  const char* className() const override { return "TSRProduct"; }
  const char* typeCode() const override { return "p"; }

 protected:
  bool readJSON(const Json& json) override;
  void writeFields(items::FieldSink& out) const override;
};

class TESSARIN_EXPORT TSRArticle : public TSRCategorizedItem {
 public:
  std::optional<double> modifiedDate;   // seconds since 1970
  std::optional<std::string> subTitle;  // JSON key "subtitle"

  static std::shared_ptr<TSRArticle> initWithTsrId(const std::string& tsrId);
  static std::shared_ptr<TSRArticle> initWithJSON(const Json* json);
  static std::shared_ptr<TSRArticle> articleWithId(const std::string& tsrId);
  static std::shared_ptr<TSRArticle> articleWithId(const std::string& tsrId, const std::optional<std::string>& name,
                                                   const std::optional<std::string>& subTitle,
                                                   const std::optional<std::string>& url,
                                                   const std::optional<std::string>& tsrDescription);
  static std::shared_ptr<TSRArticle> articleFromJSONDictionary(const Json* json);

  const char* className() const override { return "TSRArticle"; }
  const char* typeCode() const override { return "a"; }

 protected:
  bool readJSON(const Json& json) override;
  void writeFields(items::FieldSink& out) const override;
};

// A blog post; it has the same fields as an article.
class TESSARIN_EXPORT TSRBlog : public TSRCategorizedItem {
 public:
  std::optional<double> modifiedDate;   // seconds since 1970
  std::optional<std::string> subTitle;  // JSON key "subtitle"

  static std::shared_ptr<TSRBlog> initWithTsrId(const std::string& tsrId);
  static std::shared_ptr<TSRBlog> initWithJSON(const Json* json);
  static std::shared_ptr<TSRBlog> blogWithId(const std::string& tsrId);
  static std::shared_ptr<TSRBlog> blogWithId(const std::string& tsrId, const std::optional<std::string>& name,
                                             const std::optional<std::string>& subTitle,
                                             const std::optional<std::string>& url,
                                             const std::optional<std::string>& tsrDescription);
  static std::shared_ptr<TSRBlog> blogFromJSONDictionary(const Json* json);

  const char* className() const override { return "TSRBlog"; }
  const char* typeCode() const override { return "b"; }

 protected:
  bool readJSON(const Json& json) override;
  void writeFields(items::FieldSink& out) const override;
};

}  // namespace tessarin

#endif  // TESSARIN_ITEMS_H_

// TSRProduct: something the user can buy.
#include "items/field_sink.h"
#include "items/json_fields.h"
#include "tessarin/items.h"

namespace tessarin {

using items::NumberField;
using items::StringField;

std::shared_ptr<TSRProduct> TSRProduct::initWithTsrId(const std::string& tsrId) { return withId<TSRProduct>(tsrId); }

std::shared_ptr<TSRProduct> TSRProduct::initWithJSON(const Json* json) {
  return build(std::make_shared<TSRProduct>(), json);
}

std::shared_ptr<TSRProduct> TSRProduct::productWithId(const std::string& tsrId) { return initWithTsrId(tsrId); }

std::shared_ptr<TSRProduct> TSRProduct::productWithId(const std::string& tsrId, const std::optional<std::string>& name,
                                                      std::optional<double> price,
                                                      const std::optional<std::string>& url,
                                                      const std::optional<std::string>& imageUrl,
                                                      const std::optional<std::string>& tsrDescription) {
  auto product = initWithTsrId(tsrId);
  if (!product) return nullptr;
  product->name = name;
  product->price = price;
  product->url = url;
  product->imageUrl = imageUrl;
  product->tsrDescription = tsrDescription;
  return product;
}

std::shared_ptr<TSRProduct> TSRProduct::productFromJSONDictionary(const Json* json) { return initWithJSON(json); }

bool TSRProduct::readJSON(const Json& json) {
  if (!TSRCategorizedItem::readJSON(json)) return false;
  price = NumberField(json, TSRItem_price);
  priceDescription = StringField(json, TSRItem_priceDescription);
  listPrice = NumberField(json, TSRItem_listPrice);
  currency = StringField(json, TSRItem_currency);
  inventoryCount = NumberField(json, TSRItem_inventoryCount);
  alternateId = StringField(json, TSRItem_alternateId);
  return true;
}

void TSRProduct::writeFields(items::FieldSink& out) const {
  TSRCategorizedItem::writeFields(out);
  out.NumberIfSet(TSRItem_price, price);
  out.TextIfSet(TSRItem_priceDescription, priceDescription);
  out.NumberIfSet(TSRItem_listPrice, listPrice);
  out.TextIfSet(TSRItem_currency, currency);
  out.NumberIfSet(TSRItem_inventoryCount, inventoryCount);
  out.TextIfSet(TSRItem_alternateId, alternateId);
}

}  // namespace tessarin

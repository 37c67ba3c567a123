// A host app that knows Tessarin only through its installed public headers.
// What it checks goes wrong when the library exports too little: the
// inline log threshold, which the app writes and the library reads, and the
// vtables and type information an app's own item class needs.
#include <iostream>
#include <memory>

#include "tessarin/host.h"
#include "tessarin/items.h"
#include "tessarin/tessarin.h"

namespace {

class GiftCard : public tessarin::TSRProduct {
 public:
  const char* className() const override { return "GiftCard"; }
};

int Fail(int status, const char* what) {
  std::cerr << "consumer: " << what << "\n";
  return status;
}

}  // namespace

int main() {
  using namespace tessarin;
  TessarinHostOptions host;
  host.bundleIdentifier = "com.tessarin.consumer";
  host.bundleVersion = "1.0";
  if (!TessarinHost::configure(host)) return Fail(2, "host already configured");
  auto sdk = Tessarin::sharedInstance();
  if (!sdk) return Fail(3, "no shared instance");

  TSRLogger::setLogLevel(TSRLogLevelWarn);
  if (sdk->logLevel() != TSRLogLevelWarn) return Fail(4, "the library reads another log threshold");

  Json json = Json::parse(R"({"_id": "sku-1", "type": "p", "price": 89})");
  auto product = std::dynamic_pointer_cast<TSRProduct>(TSRItem::fromJSONDictionary(&json));
  if (!product || product->price != 89.0) return Fail(5, "no product from JSON");
  if (product->toJSONDictionary() != json) return Fail(6, "the product's JSON differs");

  auto card = std::make_shared<GiftCard>();
  card->tsrId = "card-25";
  if (card->toJSONDictionary().value("type", "") != "p" || card->description().find("GiftCard") == std::string::npos)
    return Fail(7, "an app's item class does not work");

  std::cout << "tessarin " << kTessarinSDKVersion << "\n";
  return 0;
}

#include "core/client_configuration_builder_access.h"
#include "tessarin/client_configuration_builder.h"

#include <gtest/gtest.h>

#include "support/log_capture.h"
#include "util/config.h"

namespace tessarin {

namespace {

using testing::LogCapture;

TEST(ClientConfigurationBuilder, UntouchedBuilderGivesEmptyNamesAndFailsValidation) {
  LogCapture capture;
  TSRClientConfigurationBuilder builder = TSRClientConfigurationBuilderAccess::Make();
  Json dictionary = builder.toDictionary();
  EXPECT_EQ(dictionary,
            Json({{"account", ""}, {"dataset", ""}, {"usePushNotifications", false}, {"useDesignMode", false}}));
  EXPECT_TRUE(dictionary["usePushNotifications"].is_boolean());

  EXPECT_FALSE(TSRConfig::clientConfigValid(dictionary));
  EXPECT_EQ(capture.messages(), (std::vector<std::string>{R"(Config: Invalid keys: ["account","dataset"])"}));
}

TEST(ClientConfigurationBuilder, DictionaryCarriesTheValuesAsGiven) {
  TSRClientConfigurationBuilder builder = TSRClientConfigurationBuilderAccess::Make();
  builder.account = " acme ";
  builder.dataset = "shop";
  builder.usePushNotifications = true;
  EXPECT_EQ(builder.toDictionary(),
            Json({{"account", " acme "}, {"dataset", "shop"}, {"usePushNotifications", true}, {"useDesignMode", false}}));
}

TEST(ClientConfigurationBuilder, LogInvalidEntriesTrimsUnicodeWhiteSpaceAndStaysQuietWhenBothRemain) {
  LogCapture capture;
  TSRClientConfigurationBuilder builder = TSRClientConfigurationBuilderAccess::Make();
  builder.account = " \t acme\u00a0\u3000";  // no-break and ideographic spaces
  builder.dataset = "\u2003my shop\n";       // em space; inner blank kept
  builder.logInvalidEntries();
  EXPECT_EQ(builder.account, "acme");
  EXPECT_EQ(builder.dataset, "my shop");
  EXPECT_TRUE(capture.messages().empty());

  // Text that is not UTF-8 is kept byte for byte; only the blanks go.
  builder.account = "acme \xff ";
  builder.logInvalidEntries();
  EXPECT_EQ(builder.account, "acme \xff");
}

TEST(ClientConfigurationBuilder, LogInvalidEntriesReportsWhatIsLeftEmptyInOneLine) {
  LogCapture capture;
  TSRClientConfigurationBuilder builder = TSRClientConfigurationBuilderAccess::Make();
  builder.account = " \u00a0 ";
  builder.logInvalidEntries();
  EXPECT_EQ(builder.account, "");

  builder.dataset = "shop";
  builder.logInvalidEntries();
  ASSERT_EQ(capture.messages(),
            (std::vector<std::string>{
                "ClientConfigurationBuilder: Invalid entries:\n  - Missing: account\n  - Missing: dataset\n",
                "ClientConfigurationBuilder: Invalid entries:\n  - Missing: account\n"}));
  EXPECT_EQ(capture.records()[0].level, TSRLogLevelError);
}

}  // namespace
}  // namespace tessarin

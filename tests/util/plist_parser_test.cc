#include "util/plist_parser.h"

#include <gtest/gtest.h>

#include <string>

namespace tessarin {
namespace {

std::string Wrap(const std::string& body) { return "<plist version=\"1.0\">" + body + "</plist>"; }

TEST(PlistParser, ReadsEveryKindOfValueInOrder) {
  const std::string xml = R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<dict>
	<key>AppIDName</key>
	<string>Sim Host</string>
	<key>CreationDate</key>
	<date>2025-03-01T10:00:00Z</date>
	<key>DeveloperCertificates</key>
	<array>
		<data>
		SGVs
		bG8=
		</data>
		<data></data>
	</array>
	<key>Entitlements</key>
	<dict>
		<key>aps-environment</key>
		<string>development</string>
		<key>get-task-allow</key>
		<true/>
		<key>beta-reports-active</key>
		<false></false>
	</dict>
	<!-- a comment between entries -->
	<key>TimeToLive</key>
	<integer>365</integer>
	<key>Offset</key>
	<integer>-42</integer>
	<key>Big</key>
	<integer>18446744073709551615</integer>
	<key>Ratio</key>
	<real>0.25</real>
	<key>Empty</key>
	<string/>
	<key>Nothing</key>
	<dict/>
</dict>
</plist>
)";
  auto plist = ParseXMLPropertyList(xml);
  ASSERT_TRUE(plist.has_value());
  Json expected = {
      {"AppIDName", "Sim Host"},
      {"CreationDate", "2025-03-01T10:00:00Z"},
      {"DeveloperCertificates", Json::array({"SGVsbG8=", ""})},
      {"Entitlements", {{"aps-environment", "development"}, {"get-task-allow", true}, {"beta-reports-active", false}}},
      {"TimeToLive", 365},
      {"Offset", -42},
      {"Big", 18446744073709551615ull},
      {"Ratio", 0.25},
      {"Empty", ""},
      {"Nothing", Json::object()},
  };
  EXPECT_EQ(*plist, expected);
  // Dictionaries keep the file's order.
  EXPECT_EQ(plist->begin().key(), "AppIDName");
  EXPECT_EQ((*plist)["Entitlements"].begin().key(), "aps-environment");
  EXPECT_TRUE((*plist)["Entitlements"]["get-task-allow"].is_boolean());
}

TEST(PlistParser, ResolvesEntitiesAndCdata) {
  auto plist = ParseXMLPropertyList(
      Wrap("<array><string>a &lt;b&gt; &amp; &quot;c&quot; &apos;d&apos;</string>"
           "<string>&#65;&#x42;&#xe9;&#x1F600;</string>"
           "<string><![CDATA[<raw> & ]]>tail<!-- dropped --></string></array>"));
  ASSERT_TRUE(plist.has_value());
  EXPECT_EQ(*plist, Json::array({"a <b> & \"c\" 'd'", "AB\xC3\xA9\xF0\x9F\x98\x80", "<raw> & tail"}));
}

TEST(PlistParser, AnyMalformedDocumentYieldsNothing) {
  const char* bad[] = {
      "",
      "garbage",
      "<plist>",
      "<plist/>",
      "<plist></plist>",
      "<dict></dict>",  // no plist root
      "<plist><dict></plist>",
      "<plist><dict><key>a</key><string>x</string></plist>",
      "<plist><array></dict></plist>",
      "<plist><string>x</string></plist> trailing",
      "<plist><string>x</string><string>y</string></plist>",
      "<plist><dict><key>a</key></dict></plist>",
      "<plist><dict><string>x</string></dict></plist>",
      "<plist><array><string>x</string><key>k</key></array></plist>",  // a <key> outside a dictionary
      "<plist><dict>text<key>a</key><true/></dict></plist>",
      "<plist><string>a &nbsp; b</string></plist>",
      "<plist><string>a & b</string></plist>",
      "<plist><string>&#0;</string></plist>",
      "<plist><string>&#xD800;</string></plist>",
      "<plist><string>&#x110000;</string></plist>",
      "<plist><string>&#12a;</string></plist>",
      "<plist><string>a<b/>c</string></plist>",
      "<plist><integer>12x</integer></plist>",
      "<plist><integer></integer></plist>",
      "<plist><integer>99999999999999999999</integer></plist>",
      "<plist><integer>-9223372036854775809</integer></plist>",
      "<plist><real>1.5.2</real></plist>",
      "<plist><true>yes</true></plist>",
      "<plist><data>SGVsbG8</data></plist>",
      "<plist><data>SGV$bG8=</data></plist>",
      "<plist><data>=GVsbG8=</data></plist>",
      "<plist><set></set></plist>",
      "<plist><string>x</strin></plist>",
      "<plist><string>unterminated</plist>",
      "<plist><!-- open comment <string>x</string></plist>",
      "<plist version=\"1.0><string>x</string></plist>",
      "<plist><string>\xC3(</string></plist>",  // not UTF-8
  };
  for (const char* xml : bad) {
    EXPECT_FALSE(ParseXMLPropertyList(xml).has_value()) << xml;
  }
}

TEST(PlistParser, EdgeValuesParse) {
  auto plist = ParseXMLPropertyList(
      Wrap("<array><integer> +7 </integer><integer>0x1F</integer><integer>-9223372036854775808</integer>"
           "<real>-1e3</real><real>2</real><true></true><data>QQ==</data><data>QUI=</data><array/></array>"));
  ASSERT_TRUE(plist.has_value());
  EXPECT_EQ(*plist, Json::parse(R"([7, 31, -9223372036854775808, -1000.0, 2.0, true, "QQ==", "QUI=", []])"));
  EXPECT_TRUE((*plist)[4].is_number_float());
  EXPECT_TRUE((*plist)[2].is_number_integer());
}

TEST(PlistParser, DeepNestingIsRefusedNotOverflowed) {
  std::string open, close;
  for (int i = 0; i < 100000; ++i) {
    open += "<array>";
    close += "</array>";
  }
  EXPECT_FALSE(ParseXMLPropertyList(Wrap(open + close)).has_value());

  std::string modest_open, modest_close;
  for (int i = 0; i < 50; ++i) {
    modest_open += "<array>";
    modest_close += "</array>";
  }
  EXPECT_TRUE(ParseXMLPropertyList(Wrap(modest_open + modest_close)).has_value());
}

}  // namespace
}  // namespace tessarin

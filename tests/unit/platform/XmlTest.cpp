#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "KelpUtils/XmlProto.h"

namespace {

TEST(XmlProto, ReadsWholeNumbersByPath) {
  kelp::CXmlProto xml;
  ASSERT_TRUE(
      xml.set_str("<?xml version=\"1.0\" encoding=\"utf-8\"?><!DOCTYPE Configs><!-- limits -->\n"
                  "<Configs><High><Max> \t16\r\n</Max><Max>17</Max><Neg>-3</Neg><Cdata><![CDATA[5]]></Cdata></High>"
                  "<Bad>16x</Bad><Plus>+1</Plus><Big>2147483648</Big><Empty/><Real>1.0</Real><Deep><In>1</In></Deep>"
                  "</Configs>\n"));
  EXPECT_EQ(xml.get_int_v("/Configs/High/Max", 9), 16);
  EXPECT_EQ(xml.get_int_v("//Configs/High//Max/", 9), 16);
  EXPECT_EQ(xml.get_int_v("/Configs/High/Neg", 9), -3);
  EXPECT_EQ(xml.get_int_v("/Configs/High/Cdata", 9), 5);
  for (const char* const path : {"/Configs/Bad", "/Configs/Plus", "/Configs/Big", "/Configs/Empty", "/Configs/Real",
                                 "/Configs/Deep", "/configs/High/Max", "/Configs/High/Max/More", "/High/Max", "/", ""})
    EXPECT_EQ(xml.get_int_v(path, 9), 9) << path;
}

TEST(XmlProto, RefusesWhatIsNotWellFormedAndEmptiesTheDocument) {
  const std::vector<std::string> cases{"",
                                       "  ",
                                       "text",
                                       "<A>",
                                       "<A></B>",
                                       "<A><B></A></B>",
                                       "<A/><B/>",
                                       "<A/>tail",
                                       "head<A/>",
                                       "<A b=></A>",
                                       std::string("<A>1</A>\0", 9),
                                       "<!DOCTYPE x [",
                                       "<?xml version=\"1.0\"?>"};
  for (const std::string& text : cases) {
    SCOPED_TRACE(testing::PrintToString(text));
    kelp::CXmlProto xml;
    ASSERT_TRUE(xml.set_str("<A>1</A>"));
    EXPECT_FALSE(xml.set_str(text));
    EXPECT_EQ(xml.get_int_v("/A", -1), -1);
  }
}

TEST(XmlProto, EntitiesAreNotExpandedAndDepthTakesNoStack) {
  kelp::CXmlProto xml;
  ASSERT_TRUE(
      xml.set_str("<!DOCTYPE A [<!ENTITY one \"1\"><!ENTITY file SYSTEM \"file:///etc/hostname\">]>"
                  "<A><B>&one;</B><C>&file;</C></A>"));
  EXPECT_EQ(xml.get_int_v("/A/B", -1), -1);
  EXPECT_EQ(xml.get_int_v("/A/C", -1), -1);
  std::string deep;
  for (int level = 0; level < 300'000; ++level)
    deep += "<A>";
  deep += "7";
  for (int level = 0; level < 300'000; ++level)
    deep += "</A>";
  ASSERT_TRUE(xml.set_str(deep));
  EXPECT_EQ(xml.get_int_v("/A/A", -1), -1);
}

}  // namespace

#include "tools/vospack/xmlvalueparser.h"

#include <gtest/gtest.h>

#include <string>

#include "diag/diag.h"
#include "support/testutil.h"
#include "tools/vospack/nstable.h"
#include "uabase/ns0_types_gen.h"
#include "uabase/type_table.h"
#include "util/errors.h"

namespace vos {
namespace {

using test::CaptureFd;

class ValueParser : public ::testing::Test {
 protected:
  void SetUp() override {
    diag_set_verbosity(2);
    suppress_clear();
    // The file declares one namespace, mapped to run index 3.
    ns_.reset_xml_indices();
    ASSERT_EQ(ns_.add_entry("urn:a", 1, 2), 0);
    ASSERT_EQ(ns_.add_entry("urn:b", 2, 3), 0);
    ns_.reset_xml_indices();
    ASSERT_EQ(ns_.add_entry("urn:b", 1, 3), 0);
  }

  // Parses `<Value>inner</Value>` and reads it; stderr goes to err_.
  int read(const std::string& inner, ua_variant& out) {
    text_ =
        "<Value xmlns:uax=\"http://opcfoundation.org/UA/2008/02/Types.xsd\">" + inner + "</Value>";
    EXPECT_EQ(xml_doc_parse_buffer(text_.data(), text_.size(), doc_, "v.xml"), 0);
    CaptureFd cap(2);
    const int ret = parser_.get_variant(doc_.root(), "Value", out);
    err_ = cap.finish();
    return ret;
  }

  nstable ns_;
  xmlvalueparser parser_{&ns_};
  std::string text_;
  xml_doc doc_;
  std::string err_;
};

TEST_F(ValueParser, ScalarsAndArrays) {
  ua_variant v;
  ASSERT_EQ(read("<uax:Int32> -42 </uax:Int32>", v), 0);
  ASSERT_NE(v.scalar<int32_t>(), nullptr);
  EXPECT_EQ(*v.scalar<int32_t>(), -42);

  ASSERT_EQ(read("<uax:ListOfUInt16><uax:UInt16>1</uax:UInt16><uax:UInt16>65535</uax:UInt16>"
                 "</uax:ListOfUInt16>",
                 v),
            0);
  EXPECT_EQ(v.type_byte(), UA_VT_UINT16 | UA_VT_ARRAY);
  ASSERT_EQ(v.array<uint16_t>().size(), 2u);
  EXPECT_EQ(v.array<uint16_t>()[1], 65535);

  // An empty list is an empty array, not an error.
  ASSERT_EQ(read("<uax:ListOfString></uax:ListOfString>", v), 0);
  EXPECT_EQ(v.type_byte(), UA_VT_STRING | UA_VT_ARRAY);
  EXPECT_EQ(v.length(), 0);

  // Only "1" and "true" are true.
  ASSERT_EQ(
      read("<uax:ListOfBoolean><uax:Boolean>1</uax:Boolean><uax:Boolean>true</uax:Boolean>"
           "<uax:Boolean>TRUE</uax:Boolean><uax:Boolean>yes</uax:Boolean></uax:ListOfBoolean>",
           v),
      0);
  ASSERT_EQ(v.array<bool>().size(), 4u);
  EXPECT_TRUE(v.array<bool>()[0] && v.array<bool>()[1]);
  EXPECT_FALSE(v.array<bool>()[2] || v.array<bool>()[3]);

  ASSERT_EQ(read("<uax:String>a &lt;b&gt; &amp; c</uax:String>", v), 0);
  EXPECT_EQ(v.scalar<ua_string>()->view(), "a <b> & c");
  ASSERT_EQ(read("<uax:Int64>-9223372036854775808</uax:Int64>", v), 0);
  EXPECT_EQ(*v.scalar<int64_t>(), INT64_MIN);

  // Namespace indices of the file are mapped to the run's.
  ASSERT_EQ(read("<uax:NodeId><uax:Identifier>ns=1;s=Speed</uax:Identifier></uax:NodeId>", v), 0);
  EXPECT_EQ(*v.scalar<ua_nodeid>(), ua_nodeid::make_string(3, "Speed"));
  ASSERT_EQ(
      read("<uax:QualifiedName><uax:NamespaceIndex>1</uax:NamespaceIndex><uax:Name>N</uax:Name>"
           "</uax:QualifiedName>",
           v),
      0);
  EXPECT_EQ(v.scalar<ua_qualifiedname>()->ns, 3);
  EXPECT_LT(read("<uax:NodeId><uax:Identifier>ns=7;i=1</uax:Identifier></uax:NodeId>", v), 0);
  EXPECT_NE(err_.find("Unknown nsidx=7"), std::string::npos);

  ASSERT_EQ(read("<uax:LocalizedText><uax:Locale> en </uax:Locale><uax:Text>Hi</uax:Text>"
                 "</uax:LocalizedText>",
                 v),
            0);
  EXPECT_EQ(v.scalar<ua_localizedtext>()->locale.view(), "en");
  EXPECT_NE(err_.find("warning 1003: removed invalid leading/trailing whitespaces"),
            std::string::npos);

  // Failures that end the node: numbers out of range or unreadable.
  EXPECT_EQ(read("<uax:Byte>256</uax:Byte>", v), UA_EBADOUTOFRANGE);
  EXPECT_TRUE(v.is_empty());
  EXPECT_LT(
      read("<uax:ListOfFloat><uax:Float>1</uax:Float><uax:Float>x</uax:Float></uax:ListOfFloat>",
           v),
      0);
  EXPECT_TRUE(v.is_empty());

  // No Value element, an empty one, an unsupported type.
  EXPECT_EQ(parser_.get_variant(doc_.root(), "Missing", v), 1);
  ASSERT_EQ(read("", v), 0);
  EXPECT_TRUE(v.is_empty());
  ASSERT_EQ(read("<uax:XmlElement>x</uax:XmlElement>", v), 0);
  EXPECT_TRUE(v.is_empty());
  EXPECT_NE(err_.find("warning 1004: unsupported variant XmlElement"), std::string::npos);
  EXPECT_NE(err_.find("v.xml:1:"), std::string::npos);
}

TEST_F(ValueParser, DateTimes) {
  ua_variant v;
  // Before 1601: mapped to the earliest time with a warning.
  ASSERT_EQ(read("<uax:DateTime>1500-01-01T00:00:00Z</uax:DateTime>", v), 0);
  EXPECT_EQ(v.scalar<ua_datetime>()->ticks, 0);
  EXPECT_NE(err_.find("warning 4034: the date '1500-01-01T00:00:00Z' is either invalid or outside "
                      "the range of UaDateTime (Windows FileTime)\nMapping to earliest possible "
                      "datetime 1601-01-01T00:00:00Z\n"),
            std::string::npos)
      << err_;
  ASSERT_EQ(read("<uax:DateTime>1601-01-01T00:00:00Z</uax:DateTime>", v), 0);
  EXPECT_EQ(v.scalar<ua_datetime>()->ticks, 0);
  EXPECT_EQ(err_, "");
}

TEST_F(ValueParser, ByteStringLimit) {
  ua_variant v;
  parser_.set_bytestring_limit(3);
  ASSERT_EQ(read("<uax:ByteString>AAEC</uax:ByteString>", v), 0);
  EXPECT_EQ(v.scalar<ua_bytestring>()->size(), 3u);
  // One byte above the limit: dropped with a warning, but not an error.
  ASSERT_EQ(read("<uax:ByteString>AAECAw==</uax:ByteString>", v), 0);
  EXPECT_TRUE(v.is_empty());
  EXPECT_NE(err_.find("warning 1002: bytestring length 4 exceeds maximum length (3)"),
            std::string::npos);
  // Above the maximum the limit stays.
  parser_.set_bytestring_limit(XMLVALUEPARSER_BYTESTRING_LIMIT_MAX + 1);
  EXPECT_EQ(parser_.bytestring_limit(), 3u);

  ASSERT_EQ(read("<uax:ByteString></uax:ByteString>", v), 0);
  EXPECT_TRUE(v.scalar<ua_bytestring>()->is_null());
  EXPECT_EQ(read("<uax:ByteString>A*==</uax:ByteString>", v), UA_EBADDECODING);
  EXPECT_NE(err_.find("warning 1001: bytestring is not valid base64"), std::string::npos);
}

// A value written inside a CDATA section is read like the same text written plainly; a
// section's text is taken byte for byte, markup characters and references included.
TEST_F(ValueParser, CdataSections) {
  ua_variant v;
  ASSERT_EQ(read("<uax:ByteString><![CDATA[AQID]]></uax:ByteString>", v), 0);
  ASSERT_EQ(v.type_byte(), UA_VT_BYTESTRING);
  ASSERT_EQ(v.scalar<ua_bytestring>()->size(), 3u);
  EXPECT_EQ(v.scalar<ua_bytestring>()->data()[2], 3);

  ASSERT_EQ(read("<uax:String>\n  <![CDATA[<a href=\"x\">&amp; ']]>\n</uax:String>", v), 0);
  EXPECT_EQ(v.scalar<ua_string>()->view(), "<a href=\"x\">&amp; '");

  ASSERT_EQ(read("<uax:ListOfInt32><uax:Int32><![CDATA[7]]></uax:Int32>"
                 "<uax:Int32><![CDATA[-8]]></uax:Int32></uax:ListOfInt32>",
                 v),
            0);
  ASSERT_EQ(v.array<int32_t>().size(), 2u);
  EXPECT_EQ(v.array<int32_t>()[1], -8);
  ASSERT_EQ(read("<uax:Double><![CDATA[2.5]]></uax:Double>", v), 0);
  EXPECT_EQ(*v.scalar<double>(), 2.5);
  ASSERT_EQ(read("<uax:Boolean><![CDATA[true]]></uax:Boolean>", v), 0);
  EXPECT_TRUE(*v.scalar<bool>());
  ASSERT_EQ(read("<uax:DateTime><![CDATA[1601-01-01T00:00:01Z]]></uax:DateTime>", v), 0);
  EXPECT_EQ(v.scalar<ua_datetime>()->ticks, 10000000);
  EXPECT_EQ(err_, "");
  ASSERT_EQ(read("<uax:Guid><uax:String><![CDATA[72962B91-FA75-4AE6-8D28-B404DC7DAF63]]>"
                 "</uax:String></uax:Guid>",
                 v),
            0);
  EXPECT_EQ(v.scalar<ua_guid>()->data1, 0x72962B91u);
  ASSERT_EQ(read("<uax:LocalizedText><uax:Locale><![CDATA[de]]></uax:Locale>"
                 "<uax:Text><![CDATA[a<b]]></uax:Text></uax:LocalizedText>",
                 v),
            0);
  EXPECT_EQ(v.scalar<ua_localizedtext>()->locale.view(), "de");
  EXPECT_EQ(v.scalar<ua_localizedtext>()->text.view(), "a<b");
  ASSERT_EQ(read("<uax:NodeId><uax:Identifier><![CDATA[ns=1;s=a&b]]></uax:Identifier>"
                 "</uax:NodeId>",
                 v),
            0);
  EXPECT_EQ(*v.scalar<ua_nodeid>(), ua_nodeid::make_string(3, "a&b"));
  ASSERT_EQ(read("<uax:QualifiedName><uax:NamespaceIndex><![CDATA[1]]></uax:NamespaceIndex>"
                 "<uax:Name><![CDATA[N>]]></uax:Name></uax:QualifiedName>",
                 v),
            0);
  EXPECT_EQ(v.scalar<ua_qualifiedname>()->ns, 3);
  EXPECT_EQ(v.scalar<ua_qualifiedname>()->name.view(), "N>");
}

TEST_F(ValueParser, ExtensionObjects) {
  ua_variant v;
  ASSERT_EQ(read(R"(<uax:ListOfExtensionObject><uax:ExtensionObject>
      <uax:TypeId><uax:Identifier>i=297</uax:Identifier></uax:TypeId>
      <uax:Body><uax:Argument><uax:Name>Speed</uax:Name>
        <uax:DataType><uax:Identifier>i=11</uax:Identifier></uax:DataType>
        <uax:ValueRank>1</uax:ValueRank>
        <uax:ArrayDimensions><uax:UInt32>4</uax:UInt32></uax:ArrayDimensions>
        <uax:Description><uax:Text>rpm</uax:Text></uax:Description>
      </uax:Argument></uax:Body></uax:ExtensionObject>
    <uax:ExtensionObject><uax:TypeId><uax:Identifier>i=7616</uax:Identifier></uax:TypeId>
      <uax:Body><uax:EnumValueType><uax:Value>-3</uax:Value><uax:DisplayName><uax:Text>Minus</uax:Text>
      </uax:DisplayName></uax:EnumValueType></uax:Body></uax:ExtensionObject>
    </uax:ListOfExtensionObject>)",
                 v),
            0)
      << err_;
  const auto objects = v.array<ua_extensionobject>();
  ASSERT_EQ(objects.size(), 2u);
  const auto& args =
      ua_type_table_ns0()
          .structures[static_cast<std::size_t>(ua_type_table_ns0().find_by_type_id(296))];
  const auto* arg = objects[0].object_as<ua_argument>(args);
  ASSERT_NE(arg, nullptr);
  EXPECT_EQ(objects[0].type_id(), ua_nodeid(0, 296));
  EXPECT_EQ(arg->name.view(), "Speed");
  EXPECT_EQ(arg->data_type, ua_nodeid(0, 11));
  EXPECT_EQ(arg->value_rank, 1);
  ASSERT_EQ(arg->array_dimensions.size(), 1u);
  EXPECT_EQ(arg->array_dimensions[0], 4u);
  EXPECT_EQ(arg->description.text.view(), "rpm");
  EXPECT_EQ(objects[1].type_id(), ua_nodeid(0, 7594));

  // Not understood: the value is dropped, the node is kept.
  ASSERT_EQ(
      read(R"(<uax:ExtensionObject><uax:TypeId><uax:Identifier>i=12345</uax:Identifier></uax:TypeId>
      <uax:Body><uax:Other/></uax:Body></uax:ExtensionObject>)",
           v),
      0);
  EXPECT_TRUE(v.is_empty());
  EXPECT_NE(err_.find("warning 1005: unsupported extensionobject id=12345"), std::string::npos);
  ASSERT_EQ(
      read(
          R"(<uax:ExtensionObject><uax:TypeId><uax:Identifier>ns=1;i=5</uax:Identifier></uax:TypeId>
      <uax:Body><uax:Other/></uax:Body></uax:ExtensionObject>)",
          v),
      0);
  EXPECT_TRUE(v.is_empty());
  EXPECT_NE(err_.find("warning 1005: only numeric extensionobjects of ns 0 are supported"),
            std::string::npos);

  // A binary body is kept as it is, under its encoding id.
  ASSERT_EQ(
      read(
          R"(<uax:ExtensionObject><uax:TypeId><uax:Identifier>ns=1;i=5</uax:Identifier></uax:TypeId>
      <uax:Body><uax:ByteString>AQI=</uax:ByteString></uax:Body></uax:ExtensionObject>)",
          v),
      0);
  const auto* eo = v.scalar<ua_extensionobject>();
  ASSERT_NE(eo, nullptr);
  EXPECT_EQ(eo->body_kind(), ua_extensionobject_body::binary);
  EXPECT_EQ(eo->encoding_id(), ua_nodeid(3, 5));
  EXPECT_EQ(eo->encoded()->size(), 2u);

  // A broken body of an understood type fails the node.
  EXPECT_LT(
      read(R"(<uax:ExtensionObject><uax:TypeId><uax:Identifier>i=888</uax:Identifier></uax:TypeId>
      <uax:Body><uax:EUInformation><uax:UnitId>x</uax:UnitId></uax:EUInformation></uax:Body></uax:ExtensionObject>)",
           v),
      0);
  EXPECT_NE(err_.find("error 4013: failed to load extensionobject id=888"), std::string::npos);
  EXPECT_TRUE(v.is_empty());
}

}  // namespace
}  // namespace vos

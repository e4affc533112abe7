#include "tools/vospack/xmlloader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "diag/diag.h"
#include "support/mini_models.h"
#include "support/testutil.h"
#include "tools/vospack/addrspace_print.h"

namespace vos {
namespace {

using test::CaptureFd;

// The namespace-0 stand-in, published and last modified at the start of 2024.
const std::string kMiniNs0 = test::mini_base_model("2024-01-01T00:00:00Z", "2024-01-01T00:00:00Z");

// A model document with the namespace `uri` as its index 1.
std::string model_doc(const std::string& uri, const std::string& model_attrs,
                      const std::string& required, const std::string& body,
                      const std::string& aliases = "") {
  std::string s = "<?xml version=\"1.0\"?>\n<UANodeSet>\n  <NamespaceUris><Uri>" + uri +
                  "</Uri></NamespaceUris>\n  <Models><Model ModelUri=\"" + uri + "\" " +
                  model_attrs + ">" + required +
                  "</Model></Models>\n  <Aliases><Alias Alias=\"HasComponent\">i=47</Alias>"
                  "<Alias Alias=\"HasSubtype\">i=45</Alias><Alias Alias=\"Int32\">i=6</Alias>"
                  "<Alias Alias=\"Organizes\">i=35</Alias>" +
                  aliases + "</Aliases>\n" + body + "</UANodeSet>\n";
  return s;
}

const std::string kRequireNs0 =
    R"(<RequiredModel ModelUri="http://opcfoundation.org/UA/" Version="1.05.03" PublicationDate="2024-01-01T00:00:00Z"/>)";

// "name:line:column" of the first occurrence of `needle`.
std::string where(const std::string& name, const std::string& doc, const std::string& needle) {
  const std::size_t pos = doc.find(needle);
  EXPECT_NE(pos, std::string::npos) << needle;
  const std::size_t line_start = doc.rfind('\n', pos);
  const std::size_t line =
      1 + static_cast<std::size_t>(std::count(doc.begin(), doc.begin() + pos, '\n'));
  const std::size_t column = pos - (line_start == std::string::npos ? 0 : line_start + 1) + 1;
  return name + ":" + std::to_string(line) + ":" + std::to_string(column);
}

class Loader : public ::testing::Test {
 protected:
  void SetUp() override {
    diag_set_verbosity(2);
    suppress_clear();
    unsetenv("IGNORE_VERSION_CHECK");
  }
  void TearDown() override { unsetenv("IGNORE_VERSION_CHECK"); }

  // Loads a document; its stderr goes to err_.
  int load(const std::string& text, const char* name = "model.xml") {
    docs_.push_back(text);
    CaptureFd cap_out(1);
    CaptureFd cap(2);
    const int ret = loader_.load_nodeset_buffer(docs_.back(), name);
    err_ = cap.finish();
    out_ = cap_out.finish();
    return ret;
  }
  int load_ns0() { return load(kMiniNs0, "ns0.xml"); }
  uagraph_node* find(uint16_t ns, uint32_t id) { return graph_.node_find(ua_nodeid(ns, id)); }

  nstable ns_;
  uagraph graph_;
  xmlloader loader_{graph_, ns_};
  std::vector<std::string> docs_;
  std::string err_;
  std::string out_;
};

TEST_F(Loader, ModelChecks) {
  ASSERT_EQ(load_ns0(), 0) << err_;
  EXPECT_EQ(ns_.entries()[0].version.value_or(""), "1.05.03");

  // No <Models>: refused even though it is otherwise valid.
  std::string doc = model_doc("urn:a", "", "", "");
  doc.replace(doc.find("<Models>"), doc.find("</Models>") + 9 - doc.find("<Models>"), "");
  EXPECT_LT(load(doc), 0);
  EXPECT_NE(err_.find("error 4023: <Models> element is missing in UA information model 'urn:a'."),
            std::string::npos)
      << err_;

  // A required model that is not loaded.
  EXPECT_LT(load(model_doc("urn:b", "", "<RequiredModel ModelUri=\"urn:zzz\"/>", "")), 0);
  EXPECT_NE(err_.find("error 4022: Required model urn:zzz was not loaded."), std::string::npos);
  EXPECT_LT(load(model_doc("urn:b", "", "<RequiredModel Version=\"1\"/>", "")), 0);
  EXPECT_NE(err_.find("error 4019: URI missing in RequiredModel"), std::string::npos);

  // Another version string with the same publication date: a warning only.
  const std::string other_version =
      R"(<RequiredModel ModelUri="http://opcfoundation.org/UA/" Version="1.04" PublicationDate="2024-01-01T00:00:00Z"/>)";
  EXPECT_EQ(load(model_doc("urn:c", "Version=\"2.0\"", other_version, "")), 0) << err_;
  EXPECT_NE(err_.find("warning 1006: The model urn:c requires model http://opcfoundation.org/UA/ "
                      "version 1.04, but you loaded version 1.05.03."),
            std::string::npos)
      << err_;
  EXPECT_EQ(err_.find("error"), std::string::npos);

  // A newer required publication date than the loaded one: refused unless switched off.
  const std::string newer =
      R"(<RequiredModel ModelUri="http://opcfoundation.org/UA/" Version="1.05.03" PublicationDate="2025-01-01T00:00:00Z"/>)";
  EXPECT_LT(load(model_doc("urn:d", "", newer, "")), 0);
  EXPECT_NE(err_.find("error 4021: The required model for namespace http://opcfoundation.org/UA/ "
                      "was found, but has wrong or missing version information:\nRequired "
                      "Version: 1.05.03 2025-01-01T00:00:00Z\n  Loaded Version: 1.05.03 "
                      "2024-01-01T00:00:00Z\n"),
            std::string::npos)
      << err_;
  setenv("IGNORE_VERSION_CHECK", "1", 1);
  EXPECT_EQ(load(model_doc("urn:d", "", newer, "")), 0) << err_;
  unsetenv("IGNORE_VERSION_CHECK");

  // An older required date: accepted with 1007; the dependency is recorded.
  const std::string older =
      R"(<RequiredModel ModelUri="http://opcfoundation.org/UA/" PublicationDate="2020-01-01T00:00:00Z"/>)";
  EXPECT_EQ(load(model_doc("urn:e", "", older, "")), 0);
  EXPECT_NE(err_.find("warning 1007: The loaded version of namespace http://opcfoundation.org/UA/ "
                      "is newer than the required one, but this is usually OK."),
            std::string::npos);
  const nstable_entry* e = ns_.find_by_uri("urn:e");
  ASSERT_NE(e, nullptr);
  EXPECT_EQ(e->required.size(), 1u);

  // An unreadable publication date of the required model.
  const std::string bad_date =
      R"(<RequiredModel ModelUri="http://opcfoundation.org/UA/" PublicationDate="yesterday"/>)";
  EXPECT_LT(load(model_doc("urn:f", "", bad_date, "")), 0);
  EXPECT_NE(err_.find("error 4020: The publication date of required model "
                      "http://opcfoundation.org/UA/ is invalid: yesterday"),
            std::string::npos);
}

TEST_F(Loader, SameUriInTwoFilesMapsToOneIndexAndRemaps) {
  ASSERT_EQ(load_ns0(), 0);
  const std::string a = model_doc(
      "urn:shared", "", kRequireNs0,
      R"(<UAObject NodeId="ns=1;i=1" BrowseName="1:A"><DisplayName>A</DisplayName></UAObject>
)");
  ASSERT_EQ(load(a), 0) << err_;
  // The same node again is refused.
  EXPECT_LT(load(a, "again.xml"), 0);
  EXPECT_NE(err_.find("error 4005: A node with the NodeId ns=1;i=1 exists already."),
            std::string::npos)
      << err_;
  // The second file lists another namespace first: its index 2 is the shared one.
  std::string b =
      "<UANodeSet><NamespaceUris><Uri>urn:other</Uri><Uri>urn:shared</Uri></NamespaceUris>"
      "<Models><Model ModelUri=\"urn:other\"/></Models>"
      "<UAObject NodeId=\"ns=2;i=2\" BrowseName=\"2:B\"><DisplayName>B</DisplayName>"
      "<References><Reference ReferenceType=\"i=47\" IsForward=\"false\">ns=2;i=1</Reference>"
      "</References></UAObject>"
      "<UAObject NodeId=\"ns=1;i=2\" BrowseName=\"1:C\"><DisplayName>C</DisplayName></UAObject>"
      "</UANodeSet>";
  ASSERT_EQ(load(b), 0) << err_;
  ASSERT_EQ(ns_.count(), 4u);
  EXPECT_EQ(ns_.find_by_uri("urn:shared")->sdk_index, 2u);
  EXPECT_EQ(ns_.find_by_uri("urn:other")->sdk_index, 3u);
  uagraph_node* bnode = find(2, 2);
  ASSERT_NE(bnode, nullptr);
  EXPECT_EQ(bnode->BrowseName.ns, 2);
  EXPECT_NE(find(3, 2), nullptr);
  EXPECT_EQ(bnode->inverse_count(), 1u);

  // An index the file does not declare.
  b = model_doc(
      "urn:g", "", "",
      R"(<UAObject NodeId="ns=5;i=1" BrowseName="1:X"><DisplayName>X</DisplayName></UAObject>
)");
  EXPECT_LT(load(b, "g.xml"), 0);
  EXPECT_NE(err_.find("error 4001: Error in parsing nodeid: Unknown nsidx=5"), std::string::npos);
  EXPECT_NE(err_.find(where("g.xml", b, "NodeId=\"ns=5")), std::string::npos) << err_;
  EXPECT_NE(err_.find("error 4005: Parsing NodeId failed."), std::string::npos);
}

TEST_F(Loader, AliasLimit) {
  ASSERT_EQ(load_ns0(), 0);
  std::string aliases;
  for (int i = 0; i < 195; ++i) {
    aliases +=
        "<Alias Alias=\"A" + std::to_string(i) + "\">i=" + std::to_string(i + 1) + "</Alias>\n";
  }
  // 4 + 195 = 199 aliases load.
  EXPECT_EQ(load(model_doc("urn:x", "", "", "", aliases)), 0) << err_;
  // The 200th is refused, even as the file's last.
  const std::string doc =
      model_doc("urn:x", "", "", "", aliases + "<Alias Alias=\"Last\">i=1</Alias>");
  EXPECT_LT(load(doc, "al.xml"), 0);
  EXPECT_NE(err_.find("error 4002: Could not load alias. Reach MAX_ALIASES=200 limit."),
            std::string::npos);
  EXPECT_NE(err_.find(where("al.xml", doc, "<Alias Alias=\"Last\"")), std::string::npos) << err_;
}

TEST_F(Loader, ReferencesAndTheirFailures) {
  ASSERT_EQ(load_ns0(), 0);
  // B names A as parent inversely, A names B forward: one reference. A DataType given as an
  // alias resolves; the Int32 alias stands for i=6.
  const std::string body =
      R"(<UAObject NodeId="ns=1;i=1" BrowseName="1:A"><DisplayName>A</DisplayName>
    <References><Reference ReferenceType="HasComponent">ns=1;i=2</Reference>
      <Reference ReferenceType="Organizes" IsForward="false">i=85</Reference></References></UAObject>
  <UAVariable NodeId="ns=1;i=2" BrowseName="1:B" DataType="Int32"><DisplayName>B</DisplayName>
    <References><Reference ReferenceType="HasComponent" IsForward="false">ns=1;i=1</Reference>
      <Reference ReferenceType="i=47"></Reference></References></UAVariable>
)";
  ASSERT_EQ(load(model_doc("urn:r", "", kRequireNs0, body)), 0) << err_;
  uagraph_node* a = find(2, 1);
  uagraph_node* b = find(2, 2);
  ASSERT_TRUE(a && b);
  EXPECT_EQ(a->forward_count(), 1u);
  EXPECT_EQ(b->inverse_count(), 1u);
  EXPECT_NE(out_.find("Skipping double reference."), std::string::npos);
  EXPECT_EQ(find(0, 85)->forward_count(), 1u);
  EXPECT_EQ(b->as<UAVariable>()->DataType, ua_nodeid(0, 6));
  EXPECT_EQ(b->as<UAVariable>()->AccessLevel, 1);

  struct bad_case {
    std::string body;
    std::string needle;   // where the error stands
    std::string message;  // what it says
  };
  const bad_case cases[] = {
      {R"(<UAObject NodeId="ns=1;i=9" BrowseName="1:A"><DisplayName>A</DisplayName>
    <References><Reference ReferenceType="HasComponent">ns=1;i=77</Reference></References></UAObject>
)",
       "<Reference ", "error 4017: Destination node not found."},
      {R"(<UAObject NodeId="ns=1;i=9" BrowseName="1:A"><DisplayName>A</DisplayName>
    <References><Reference ReferenceType="i=4711">i=85</Reference></References></UAObject>
)",
       "<Reference ", "error 4017: No node found with this referencetype."},
      {R"(<UAObject NodeId="ns=1;i=9" BrowseName="1:A"><DisplayName>A</DisplayName>
    <References><Reference ReferenceType="Nonsense">i=85</Reference></References></UAObject>
)",
       "ReferenceType=\"Nonsense\"", "error 4005: Invalid nodeid"},
      // Aliases are not looked at for NodeId attributes.
      {R"(<UAObject NodeId="Int32" BrowseName="1:A"><DisplayName>A</DisplayName></UAObject>
)",
       "NodeId=\"Int32\"", "error 4005: Invalid nodeid"},
  };
  for (const bad_case& c : cases) {
    const std::string doc = model_doc("urn:r2", "", "", c.body);
    EXPECT_LT(load(doc, "bad.xml"), 0) << c.message;
    EXPECT_NE(err_.find(c.message), std::string::npos) << err_;
    EXPECT_NE(err_.find(where("bad.xml", doc, c.needle)), std::string::npos) << err_;
    if (uagraph_node* left = find(3, 9)) graph_.node_remove(*left);
  }
}

TEST_F(Loader, NodeAttributes) {
  ASSERT_EQ(load_ns0(), 0);
  const std::string body =
      R"(<UAVariable NodeId="ns=1;i=1" BrowseName="1:V" AccessLevel="0" ValueRank="1" ArrayDimensions="3,,4">
    <DisplayName Locale="de-DE">Wert</DisplayName><DisplayName Locale="en">Value</DisplayName>
    <Description Locale="en">english</Description><Description Locale="de-DE">deutsch &amp; mehr</Description>
    <Extensions><RTAddress>plc:1</RTAddress></Extensions>
    <Value><ByteString>AAECAwQF</ByteString></Value>
  </UAVariable>
  <UAVariable NodeId="ns=1;i=2" BrowseName="1:W" ValueRank="-1" ArrayDimensions="3,4"><DisplayName>W</DisplayName></UAVariable>
  <UAMethod NodeId="ns=1;i=3" BrowseName="1:M"><DisplayName>M</DisplayName></UAMethod>
)";
  loader_.values().set_bytestring_limit(5);
  ASSERT_EQ(load(model_doc("urn:n", "", "", body)), 0) << err_;
  // The ByteString is one byte above the limit: dropped, the node kept.
  EXPECT_NE(err_.find("warning 1002: bytestring length 6 exceeds maximum length (5)"),
            std::string::npos);
  const auto* v = find(2, 1)->as<UAVariable>();
  ASSERT_NE(v, nullptr);
  EXPECT_TRUE(v->Value.is_empty());
  EXPECT_EQ(v->AccessLevel, 0);
  ASSERT_EQ(v->ArrayInfo.ArrayDimensions().size(), 2u);
  EXPECT_EQ(v->ArrayInfo.ArrayDimensions()[1], 4u);
  // "auto" adopts the first locale met; the Description follows it.
  EXPECT_EQ(loader_.default_locale(), "de-DE");
  EXPECT_EQ(v->DisplayName.text.view(), "Wert");
  EXPECT_EQ(v->extra().Description.text.view(), "deutsch & mehr");
  EXPECT_EQ(v->extra().RTAddress.view(), "plc:1");
  EXPECT_EQ(find(2, 2)->as<UAVariable>()->ArrayInfo.ArrayDimensions().size(), 0u);
  EXPECT_TRUE(find(2, 3)->as<UAMethod>()->Executable);

  // An attribute written twice counts with its first value, a child element likewise.
  const std::string twice =
      R"(<UAObject NodeId="ns=1;i=4" BrowseName="1:First" BrowseName="1:Second" EventNotifier="1" EventNotifier="x">
    <DisplayName>D</DisplayName><Extensions><RTAddress>a</RTAddress></Extensions><Extensions><RTAddress>b</RTAddress></Extensions>
  </UAObject>
)";
  ASSERT_EQ(load(model_doc("urn:twice", "", "", twice)), 0) << err_;
  const uagraph_node* o = find(3, 4);
  ASSERT_NE(o, nullptr);
  EXPECT_EQ(o->BrowseName.name.view(), "First");
  EXPECT_EQ(o->as<UAObject>()->EventNotifier, 1);
  EXPECT_EQ(o->extra().RTAddress.view(), "a");

  struct bad_case {
    std::string attrs;
    std::string needle;
    std::string messages[2];
  };
  const bad_case cases[] = {
      {R"(SymbolicName="9abc")",
       "SymbolicName",
       {"error 4011: Invalid SymbolicName: SymbolicNames must start with a letter.",
        "error 4011: Parsing SymbolicName attribute failed."}},
      {R"(SymbolicName="a-b")",
       "SymbolicName",
       {"error 4011: Invalid SymbolicName: SymbolicNames may only use the following character "
        "class: [A-Za-z0-9_].",
        ""}},
      {R"(AccessLevel="256")",
       "AccessLevel",
       {"error 4007: xml_strtoint8 conversion failed", "error 4007: Parsing AccessLevel failed."}},
      {R"(AccessLevel="")",
       "AccessLevel",
       {"error 4007: xml_strtoint8 conversion failed", "error 4007: Parsing AccessLevel failed."}},
      {R"(BrowseName="1:a&#x0;b")",
       "BrowseName",
       {"error 4006: Invalid qualified name", "error 4006: Parsing BrowseName failed."}},
      {R"(><DisplayName>a&#0;b</DisplayName><!-- )",
       "<DisplayName>a",
       {"error 4029: Parsing DisplayName failed.", ""}},
      {R"(ValueRank="x")",
       "ValueRank",
       {"error 4010: util_strtoint32 conversion failed",
        "error 4010: Parsing array information failed."}},
      {R"(ValueRank="2" ArrayDimensions="1,2,3,4,5,6,7,8,9,10,11,12,13,14")",
       "ArrayDimensions",
       {"error 4010: ArrayDimensions content is too long.", ""}},
      {R"(AccessRestrictions="70000")",
       "AccessRestrictions",
       {"error 4026: invalid uint16", "error 4026: Parsing AccessRestrictions failed."}},
      {R"(BrowseName="9:Y")",
       "BrowseName",
       {"error 4001: Error in parsing qualified name: Unknown nsidx=9",
        "error 4006: Parsing BrowseName failed."}},
      {R"(HasNoPermissions="true"><RolePermissions><RolePermission Permissions="1">i=1</RolePermission></RolePermissions><!-- )",
       "<UAVariable",
       {"error 4028: invalid nodeset: node has RolePermissions, but attribute "
        "HasNoPermissions=true",
        ""}},
      {R"(><RolePermissions><RolePermission>i=1</RolePermission></RolePermissions><!-- )",
       "<RolePermission>",
       {"error 4025: Missing Permission attribute", ""}},
  };
  for (const bad_case& c : cases) {
    std::string attrs = c.attrs;
    std::string node = "<UAVariable NodeId=\"ns=1;i=9\" ";
    if (attrs.find("BrowseName") == std::string::npos) node += "BrowseName=\"1:Z\" ";
    node += attrs;
    if (attrs.find("<!--") != std::string::npos) {
      node += "--><DisplayName>Z</DisplayName></UAVariable>\n";
    } else {
      node += "><DisplayName>Z</DisplayName></UAVariable>\n";
    }
    const std::string doc = model_doc("urn:n2", "", "", node);
    EXPECT_LT(load(doc, "n.xml"), 0) << attrs;
    for (const std::string& m : c.messages) {
      if (!m.empty()) {
        EXPECT_NE(err_.find(m), std::string::npos) << attrs << "\n" << err_;
      }
    }
    EXPECT_NE(err_.find(where("n.xml", doc, c.needle)), std::string::npos) << attrs << "\n" << err_;
    EXPECT_EQ(graph_.node_find(ua_nodeid(3, 9)), nullptr);
  }

  // A node without DisplayName fails without a message.
  EXPECT_LT(load(model_doc("urn:n3", "", "",
                           "<UAObject NodeId=\"ns=1;i=1\" BrowseName=\"1:A\"></UAObject>\n")),
            0);
  EXPECT_EQ(err_, "");
}

TEST_F(Loader, TextsDecodeAtAnyLengthAndInvalidUtf8IsReportedOncePerFile) {
  ASSERT_EQ(load_ns0(), 0);
  std::string long_text;
  for (int i = 0; i < 200; ++i) long_text += "part " + std::to_string(i) + " &lt;&amp;&#x20AC; ";
  std::string expected;
  for (int i = 0; i < 200; ++i) expected += "part " + std::to_string(i) + " <&\xe2\x82\xac ";
  const std::string valid = "<UAObject NodeId=\"ns=1;s=&#xe9;t&#233;\" BrowseName=\"1:\xc3\xa9\">"
                            "<DisplayName>\xf0\x9d\x84\x9e</DisplayName><Description>" +
                            long_text + "</Description></UAObject>\n";
  ASSERT_EQ(load(model_doc("urn:long", "", "", valid)), 0) << err_;
  EXPECT_EQ(err_, "");
  const uagraph_node* o = graph_.node_find(ua_nodeid::make_string(2, "\xc3\xa9t\xc3\xa9"));
  ASSERT_NE(o, nullptr);
  EXPECT_EQ(o->extra().Description.text.view(), expected);

  // Latin-1 in a browse name, a display name and a value string: one warning, at the first.
  const std::string latin1 =
      "<UAObject NodeId=\"ns=1;i=1\" BrowseName=\"1:Gr\xfc\xdf\"><DisplayName>Gr\xfc\xdf</DisplayName>"
      "</UAObject>\n<UAVariable NodeId=\"ns=1;i=2\" BrowseName=\"1:V\"><DisplayName>V</DisplayName>"
      "<Value><String>\xe9t\xe9</String></Value></UAVariable>\n";
  const std::string doc = model_doc("urn:latin1", "", "", latin1);
  ASSERT_EQ(load(doc, "l.xml"), 0) << err_;
  EXPECT_EQ(err_.rfind("warning 1008: text is not valid UTF-8"), 0u) << err_;
  EXPECT_EQ(err_.find("warning", 1), std::string::npos) << err_;
  EXPECT_NE(err_.find(where("l.xml", doc, "BrowseName=\"1:Gr")), std::string::npos) << err_;
  // Kept as written.
  EXPECT_EQ(graph_.node_find(ua_nodeid(3, 1))->DisplayName.text.view(), "Gr\xfc\xdf");

  // Each file gets its own warning; only in a value string here.
  const std::string in_value =
      model_doc("urn:value", "", "", latin1.substr(latin1.find("<UAVariable")));
  ASSERT_EQ(load(in_value, "v.xml"), 0) << err_;
  EXPECT_NE(err_.find("warning 1008: "), std::string::npos) << err_;
  EXPECT_NE(err_.find(where("v.xml", in_value, "<String>")), std::string::npos) << err_;

  // Suppressed everywhere by number.
  suppress_add(nullptr, 0, 1008);
  ASSERT_EQ(load(model_doc("urn:quiet", "", "", latin1), "q.xml"), 0) << err_;
  EXPECT_EQ(err_, "");
}

TEST_F(Loader, DefinitionsAndDataTypeCompletion) {
  ASSERT_EQ(load_ns0(), 0);
  const std::string body =
      R"(<UADataType NodeId="ns=1;i=1" BrowseName="1:Color">
    <DisplayName>Color</DisplayName>
    <References><Reference ReferenceType="HasSubtype" IsForward="false">i=29</Reference></References>
    <Definition Name="1:Color"><Field Name="Red" Value="0"/><Field Name="Green" Value="1"/></Definition>
  </UADataType>
  <UADataType NodeId="ns=1;i=2" BrowseName="1:Bits">
    <DisplayName>Bits</DisplayName>
    <Definition Name="1:Bits" IsOptionSet="true"><Field Name="A" Value="0"/></Definition>
  </UADataType>
  <UADataType NodeId="ns=1;i=3" BrowseName="1:Point">
    <DisplayName>Point</DisplayName>
    <References><Reference ReferenceType="HasSubtype" IsForward="false">i=22</Reference>
      <Reference ReferenceType="i=38">ns=1;i=5</Reference></References>
    <Definition Name="1:Point" SymbolicName="Pt"><Field Name="X" DataType="Int32"/><Field Name="Sub" DataType="i=22" AllowSubTypes="true"/></Definition>
  </UADataType>
  <UADataType NodeId="ns=1;i=4" BrowseName="1:Point3">
    <DisplayName>Point3</DisplayName>
    <References><Reference ReferenceType="HasSubtype" IsForward="false">ns=1;i=3</Reference></References>
  </UADataType>
  <UAObject NodeId="ns=1;i=5" BrowseName="Default Binary"><DisplayName>Default Binary</DisplayName></UAObject>
)";
  ASSERT_EQ(load(model_doc("urn:dt", "", "", body)), 0) << err_;
  const auto def = [&](uint32_t id) -> const uagraph_definition& {
    return find(2, id)->as<UADataType>()->Definition;
  };
  EXPECT_EQ(def(1).kind, UAGRAPH_DEFINITION_ENUMERATION);
  EXPECT_EQ(def(1).fields[1].Value, 1);
  EXPECT_EQ(def(2).kind, UAGRAPH_DEFINITION_OPTIONSET);
  EXPECT_EQ(def(3).kind, UAGRAPH_DEFINITION_STRUCTURE_WITH_SUBTYPED_VALUES);
  EXPECT_EQ(def(3).fields[0].DataType, ua_nodeid(0, 6));
  EXPECT_EQ(def(3).DefaultEncodingId, ua_nodeid(2, 5));
  EXPECT_EQ(def(3).BaseTypeId, ua_nodeid(0, 22));
  // Inherited from its base, named after itself.
  EXPECT_EQ(def(4).kind, UAGRAPH_DEFINITION_STRUCTURE_WITH_SUBTYPED_VALUES);
  EXPECT_EQ(def(4).Name.name.view(), "Point3");
  EXPECT_EQ(def(4).BaseTypeId, ua_nodeid(2, 3));

  struct bad_case {
    std::string definition;
    std::string message;
  };
  const bad_case cases[] = {
      {R"(<Definition Name="U" IsUnion="true"><Field Name="A" DataType="i=6" IsOptional="true"/></Definition>)",
       "error 4012: IsOptional makes no sense for Union and OptionSet"},
      {R"(<Definition Name="S"><Field Name="A" IsOptional="true"/><Field Name="B" AllowSubTypes="true"/></Definition>)",
       "error 4012: IsOptional and AllowSubTypes is not possible together in the same struct."},
      {R"(<Definition Name="E"><Field Name="A" Value="1"/><Field Name="B" AllowSubTypes="true"/></Definition>)",
       "error 4012: AllowSubTypes not possible with Enums."},
      {R"(<Definition Name="E"><Field Value="1"/></Definition>)",
       "error 4012: 'Name' attribute is missing"},
      {R"(<Definition Name="E"><Field Name="A" Value="x"/></Definition>)",
       "error 4012: util_strtoint32 conversion failed"},
  };
  for (const bad_case& c : cases) {
    const std::string doc = model_doc(
        "urn:dt2", "", "",
        "<UADataType NodeId=\"ns=1;i=9\" BrowseName=\"1:D\"><DisplayName>D</DisplayName>" +
            c.definition + "</UADataType>\n");
    EXPECT_LT(load(doc, "d.xml"), 0) << c.definition;
    EXPECT_NE(err_.find(c.message), std::string::npos) << err_;
    EXPECT_NE(err_.find("error 4012: Invalid Definition"), std::string::npos) << err_;
    EXPECT_NE(err_.find(where("d.xml", doc, "<Definition")), std::string::npos) << err_;
  }
}

TEST_F(Loader, DocumentLevelFailures) {
  // A document that is not a NodeSet fails without a message of its own.
  EXPECT_LT(load("<!-- x -->\n <Other/>"), 0);
  EXPECT_EQ(err_, "");
  EXPECT_LT(load("no markup\n"), 0);
  EXPECT_EQ(err_, "error: 'model.xml' holds no XML element\n");
  EXPECT_LT(load(std::string("ab\ncd\0<UANodeSet/>", 13)), 0);
  EXPECT_EQ(err_, "error: 'model.xml' is not an XML text file: a NUL byte at line 2, column 3\n");
  EXPECT_LT(load(""), 0);
  EXPECT_EQ(err_, "error: 'model.xml' is empty\n");
  const std::string long_stamp =
      "<UANodeSet LastModified=\"2024-01-01T00:00:00.000000000000000Z\"><Models/></UANodeSet>";
  EXPECT_LT(load(long_stamp, "lm.xml"), 0);
  EXPECT_NE(err_.find("error 4024: LastModified Timestamp is too long"), std::string::npos);
  EXPECT_NE(err_.find("lm.xml:1:12"), std::string::npos) << err_;
  // A stamp without its zone letter is completed.
  EXPECT_EQ(load("<UANodeSet LastModified=\"2024-01-01T00:00:00\"><Models/></UANodeSet>"), 0);

  std::string uris;
  for (int i = 0; i < 31; ++i) uris += "<Uri>urn:u" + std::to_string(i) + "</Uri>";
  const std::string many =
      "<UANodeSet><NamespaceUris>" + uris + "</NamespaceUris><Models/></UANodeSet>";
  EXPECT_LT(load(many, "many.xml"), 0);
  EXPECT_NE(err_.find("error 4003: Reached maximum number of supported namespace uris."),
            std::string::npos);
  EXPECT_NE(err_.find(where("many.xml", many, "<Uri>urn:u30<")), std::string::npos) << err_;
}

TEST_F(Loader, AddressSpacePrint) {
  ASSERT_EQ(load_ns0(), 0);
  const std::string body =
      R"(<UAObject NodeId="ns=1;i=1" BrowseName="1:Plant"><DisplayName>Plant</DisplayName>
    <References><Reference ReferenceType="Organizes" IsForward="false">i=85</Reference>
      <Reference ReferenceType="HasComponent">ns=1;i=2</Reference>
      <Reference ReferenceType="i=38">ns=1;i=3</Reference></References></UAObject>
  <UAObject NodeId="ns=1;i=2" BrowseName="1:Line"><DisplayName>Line</DisplayName>
    <References><Reference ReferenceType="Organizes">i=85</Reference></References></UAObject>
  <UAObject NodeId="ns=1;i=3" BrowseName="1:Hidden"><DisplayName>Hidden</DisplayName></UAObject>
  <UADataType NodeId="ns=1;i=4" BrowseName="1:Mode" SymbolicName="ModeSym"><DisplayName>Mode</DisplayName>
    <References><Reference ReferenceType="HasComponent" IsForward="false">ns=1;i=2</Reference></References>
    <Definition Name="1:Mode"><Field Name="Off" Value="0"/><Field Name="On" Value="1"/></Definition></UADataType>
)";
  ASSERT_EQ(load(model_doc("urn:p", "", "", body)), 0) << err_;
  std::FILE* f = std::tmpfile();
  ASSERT_NE(f, nullptr);
  addrspace_print(graph_, f);
  std::rewind(f);
  std::string out;
  char buf[256];
  while (std::fgets(buf, sizeof buf, f)) out += buf;
  std::fclose(f);
  EXPECT_EQ(out,
            "Root\n"
            "  Objects\n"
            "    Plant\n"
            "      Line\n"
            "        Mode\n"
            "          Symbol: 'ModeSym', Name: 2:'Mode'\n"
            "          [Off] = 0\n"
            "          [On] = 1\n");
}

// Cuts of a real model after namespace 0 always end in an error, never a crash.
TEST(LoaderCorpus, CutModelsFail) {
  const auto dir = test::nodeset_dir();
  if (dir.empty()) GTEST_SKIP() << "models not installed";
  diag_set_verbosity(0);
  nstable ns;
  uagraph graph;
  xmlloader loader(graph, ns);
  ASSERT_EQ(loader.load_nodeset((dir / "Opc.Ua.NodeSet2.xml").c_str()), 0);
  const std::string di = test::read_file(dir / "Opc.Ua.Di.NodeSet2.xml");
  const std::size_t end = di.rfind("</UANodeSet>");
  ASSERT_NE(end, std::string::npos);
  const std::size_t count_before = graph.node_count();
  CaptureFd quiet(2);
  for (std::size_t i = 0; i < 300; ++i) {
    const std::size_t cut = end * i / 300 + i % 7;
    const std::string part = di.substr(0, cut);
    EXPECT_LT(loader.load_nodeset_buffer(part, "cut.xml"), 0) << "cut at " << cut;
  }
  quiet.finish();
  EXPECT_EQ(graph.node_count(), count_before);
  diag_set_verbosity(2);
}

// The input digest takes exactly the bytes of the files that loaded.
TEST(LoaderDigest, FeedsTheBytesOfLoadedFilesOnly) {
  test::TempDir dir;
  const std::string good = "<?xml version=\"1.0\"?>\n<UANodeSet><Models/></UANodeSet>\n";
  test::write_file(dir / "good.xml", good);
  test::write_file(dir / "bad.xml", "<UANodeSet></Models>");
  nstable ns;
  uagraph graph;
  xmlloader loader(graph, ns);
  Md5 digest;
  ASSERT_EQ(loader.load_nodeset((dir / "good.xml").c_str(), &digest), 0);
  CaptureFd quiet(2);
  EXPECT_NE(loader.load_nodeset((dir / "bad.xml").c_str(), &digest), 0);
  quiet.finish();
  EXPECT_EQ(digest.final(), md5(good));
}

}  // namespace
}  // namespace vos

#include "tools/vospack/xmlexport.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "support/testutil.h"
#include "tools/vospack/nstable.h"
#include "tools/vospack/uagraph.h"
#include "uabase/ns0_types_gen.h"
#include "uabase/text_datetime.h"
#include "uabase/type_table.h"
#include "util/errors.h"
#include "util/xml.h"

namespace vos {
namespace {

using test::CaptureFd;
using test::TempDir;

template <class T>
T* add(uagraph& g, ua_nodeid id, std::string_view name, uint16_t ns = 0) {
  uagraph_node_ptr node = uagraph::node_new(T::nodeclass_code);
  auto* raw = static_cast<T*>(node.get());
  raw->NodeId = std::move(id);
  raw->BrowseName = {ns, name};
  raw->DisplayName.text = name;
  EXPECT_EQ(g.node_add(std::move(node)), 0);
  return raw;
}

std::string decoded(xml_string raw) {
  std::string buf(raw.size() + 1, '\0');
  EXPECT_EQ(xml_string_html_decode(raw, buf.data(), buf.size()), 0);
  return buf.c_str();
}

// An element as one line: name, attributes in braces, then its decoded text or its children
// in parentheses. "-" for no element.
std::string show(const xml_node* n) {
  if (n == nullptr) return "-";
  std::string s(n->name());
  if (n->first_attribute() != nullptr) {
    s += '{';
    for (const xml_node& a : n->attributes())
      if (a.prefix() != "xmlns" && a.name() != "xmlns")
        s += std::string(a.name()) + "=" + decoded(a.value()) + ";";
    s += '}';
  }
  if (n->first_child() == nullptr) return s + "=" + decoded(n->value());
  s += '(';
  for (const xml_node& c : n->children()) s += show(&c) + ",";
  return s + ')';
}

// Exports into a scratch folder and parses the result with our own reader.
struct exported {
  TempDir dir;
  std::string text;
  xml_doc doc;
  int status = 0;

  exported(const uagraph& g, const nstable& t, xmlexport_options options = {}) {
    const std::string path = (dir / "out.xml").string();
    status = xmlexport_write(g, t, path.c_str(), options);
    text = test::read_file(dir / "out.xml");
  }
  // The document element; fails the test when the text is not well-formed.
  const xml_node* root() {
    EXPECT_EQ(xml_doc_parse_buffer(text.data(), text.size(), doc), 0) << text;
    return doc.document_element();
  }
  // The node element with this NodeId text.
  std::string node(std::string_view id) {
    for (const xml_node& c : root()->children()) {
      const xml_node* a = c.find_attribute("NodeId");
      if (a != nullptr && decoded(a->value()) == id) return show(&c);
    }
    return "-";
  }
};

TEST(XmlExport, EmptyGraphIsACompleteDocument) {
  uagraph g;
  nstable t;
  exported out(g, t);
  ASSERT_EQ(out.status, 0);
  EXPECT_EQ(out.text,
            "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<UANodeSet "
            "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
            "xmlns:uax=\"http://opcfoundation.org/UA/2008/02/Types.xsd\" "
            "xmlns=\"http://opcfoundation.org/UA/2011/03/UANodeSet.xsd\">\n"
            "  <NamespaceUris>\n    <Uri>urn:velmora:vos:server</Uri>\n  </NamespaceUris>\n"
            "  <Models>\n  </Models>\n</UANodeSet>\n");
  EXPECT_NE(out.root(), nullptr);
}

// Namespace 0, a DI-like model and a model that requires both; with `select` only the last
// one is exported, with the references that come into it from the others.
void models_case(bool select, const std::string& models, const std::string& nodes,
                 const std::string& mine_node) {
  SCOPED_TRACE(select ? "selected" : "whole graph");
  nstable t;
  t.entries()[0].version = "1.05";
  t.entries()[0].publication_date = "2023-01-01T00:00:00Z";
  ASSERT_EQ(t.add_entry("http://example.com/DI/", 1, 2), 0);
  ASSERT_EQ(t.add_entry("http://example.com/M&Co/", 2, 3), 0);
  nstable_entry& di = *t.find_by_sdk_index(2);
  di.version = "1.1";
  t.add_required(di, t.entries()[0]);
  nstable_entry& model = *t.find_by_sdk_index(3);
  model.publication_date = "2024-02-03T00:00:00Z";
  t.add_required(model, t.entries()[0]);
  t.add_required(model, di);
  if (select) {
    CaptureFd quiet(1);
    ASSERT_EQ(t.select_index("3"), 0);
    ASSERT_EQ(t.check_index_selections(), 0);
  }
  uagraph g;
  auto* organizes = add<UAReferenceType>(g, ua_nodeid(0, 35), "Organizes");
  auto* objects = add<UAObject>(g, ua_nodeid(0, 85), "Objects");
  auto* device = add<UAObject>(g, ua_nodeid(2, 1), "Device", 2);
  auto* mine = add<UAObject>(g, ua_nodeid(3, 1), "Mine", 3);
  auto* child = add<UAObject>(g, ua_nodeid(3, 2), "Child", 3);
  ASSERT_EQ(g.reference_add(*objects, *mine, *organizes), 0);
  ASSERT_EQ(g.reference_add(*mine, *child, *organizes), 0);
  ASSERT_EQ(g.reference_add(*mine, *device, *organizes), 0);

  exported out(g, t);
  ASSERT_EQ(out.status, 0);
  const xml_node* root = out.root();
  ASSERT_NE(root, nullptr);
  EXPECT_EQ(show(root->find_child("NamespaceUris")),
            "NamespaceUris(Uri=urn:velmora:vos:server,Uri=http://example.com/DI/,"
            "Uri=http://example.com/M&Co/,)");
  EXPECT_EQ(show(root->find_child("Models")), models);
  std::string written;
  for (const xml_node& n : root->children())
    if (n.name().starts_with("UA")) written += decoded(n.find_attribute("NodeId")->value()) + " ";
  EXPECT_EQ(written, nodes);
  EXPECT_EQ(out.node("ns=3;i=1"), mine_node);
}

TEST(XmlExport, NamespacesModelsAndSelection) {
  const std::string m0 =
      "Model{ModelUri=http://opcfoundation.org/UA/;Version=1.05;"
      "PublicationDate=2023-01-01T00:00:00Z;}=";
  const std::string req0 =
      "RequiredModel{ModelUri=http://opcfoundation.org/UA/;Version=1.05;"
      "PublicationDate=2023-01-01T00:00:00Z;}=";
  const std::string di = "Model{ModelUri=http://example.com/DI/;Version=1.1;}(" + req0 + ",)";
  const std::string mine =
      "Model{ModelUri=http://example.com/M&Co/;PublicationDate=2024-02-03T00:00:00Z;}(" + req0 +
      ",RequiredModel{ModelUri=http://example.com/DI/;Version=1.1;}=,)";
  const std::string node =
      "UAObject{NodeId=ns=3;i=1;BrowseName=3:Mine;}(DisplayName=Mine,References("
      "Reference{ReferenceType=i=35;}=ns=3;i=2,Reference{ReferenceType=i=35;}=ns=2;i=1,";
  models_case(false, "Models(" + m0 + "," + di + "," + mine + ",)",
              "i=35 i=85 ns=2;i=1 ns=3;i=1 ns=3;i=2 ", node + "),)");
  // Selected, the node also carries the reference from Objects, as an inverse one.
  models_case(true, "Models(" + mine + ",)", "ns=3;i=1 ns=3;i=2 ",
              node + "Reference{ReferenceType=i=35;IsForward=false;}=i=85,),)");
}

TEST(XmlExport, TextsAreEscapedAndReadBackUnchanged) {
  uagraph g;
  nstable t;
  auto* obj = add<UAObject>(g, ua_nodeid::make_string(1, "id \"<&>\"\n"), "Name:With:Colons");
  obj->DisplayName = {"en-US", "a<b&c>\"d'\te\nf\rg]]>"};
  obj->extra_mut().Description.text = std::string("bell\x07!");
  obj->extra_mut().Documentation = "   ";
  obj->extra_mut().categories.push_back("Cat <1>");
  obj->extra_mut().SymbolicName = "Sym_1";

  exported out(g, t);
  ASSERT_EQ(out.status, 0);
  // A name with ':' in namespace 0 keeps its namespace, so that it is not split wrongly;
  // control characters that XML cannot carry become U+FFFD; blanks alone stay blanks.
  EXPECT_EQ(
      out.node("ns=1;s=id \"<&>\"\n"),
      "UAObject{NodeId=ns=1;s=id \"<&>\"\n;BrowseName=0:Name:With:Colons;SymbolicName=Sym_1;}("
      "DisplayName{Locale=en-US;}=a<b&c>\"d'\te\nf\rg]]>,Description=bell\xEF\xBF\xBD!,"
      "Category=Cat <1>,Documentation=   ,)");
  // Line ends stay literal in element content and become references in attribute values,
  // where a reader would turn them into blanks.
  EXPECT_NE(out.text.find("NodeId=\"ns=1;s=id &quot;&lt;&amp;>&quot;&#10;\""), std::string::npos);
  EXPECT_NE(out.text.find(">a&lt;b&amp;c>\"d'\te\nf&#13;g]]&gt;</DisplayName>"), std::string::npos);
}

TEST(XmlExport, ClassAttributesAndDefinitions) {
  uagraph g;
  nstable t;
  auto* rt = add<UAReferenceType>(g, ua_nodeid(0, 35), "Organizes");
  rt->InverseName.text = "OrganizedBy";
  rt->HasInverseName = true;
  rt->Symmetric = true;
  auto* obj = add<UAObject>(g, ua_nodeid(1, 1), "Folder", 1);
  obj->EventNotifier = 5;
  obj->set_access_restrictions(0);
  obj->extra_mut().RolePermissions.push_back({ua_nodeid(0, 15644), 3});
  obj->extra_mut().RTAddress = "rt<1>";
  auto* var = add<UAVariable>(g, ua_nodeid(1, 2), "Var", 1);
  var->DataType = ua_nodeid(0, 11);
  var->ArrayInfo.ValueRank = 2;
  const uint32_t dims[] = {3, 4};
  var->ArrayInfo.set_ArrayDimensions(dims);
  var->MinimumSamplingInterval = 250;
  var->extra_mut().ParentNodeId = ua_nodeid(1, 1);
  add<UAMethod>(g, ua_nodeid(1, 3), "Run", 1)->Executable = false;
  add<UAVariableType>(g, ua_nodeid(1, 4), "VType", 1)->DataType = ua_nodeid(0, 6);
  auto* enumtype = add<UADataType>(g, ua_nodeid(1, 5), "Colour", 1);
  enumtype->Definition.Name = {1, "Colour"};
  enumtype->Definition.kind = UAGRAPH_DEFINITION_OPTIONSET;
  enumtype->Definition.fields.resize(2);
  enumtype->Definition.fields[0].Name = "Red";
  enumtype->Definition.fields[0].Value = 1;
  enumtype->Definition.fields[1].Name = "Green";
  enumtype->Definition.fields[1].Value = 2;
  enumtype->Definition.fields[1].Description.text = "grass";
  auto* uniontype = add<UADataType>(g, ua_nodeid(1, 6), "Choice", 1);
  uniontype->Definition.Name = {1, "Choice"};
  uniontype->Definition.kind = UAGRAPH_DEFINITION_UNION;
  uniontype->Definition.fields.resize(1);
  uniontype->Definition.fields[0].Name = "X";
  uniontype->Definition.fields[0].DataType = ua_nodeid(0, 11);
  uniontype->Definition.fields[0].ArrayInfo.ValueRank = 1;
  // A definition without fields is one the loader inherits: not written.
  add<UADataType>(g, ua_nodeid(1, 7), "Plain", 1)->Definition.kind = UAGRAPH_DEFINITION_STRUCTURE;

  exported out(g, t);
  ASSERT_EQ(out.status, 0);
  EXPECT_EQ(out.node("i=35"),
            "UAReferenceType{NodeId=i=35;BrowseName=Organizes;Symmetric=true;}("
            "DisplayName=Organizes,InverseName=OrganizedBy,)");
  EXPECT_EQ(out.node("ns=1;i=1"),
            "UAObject{NodeId=ns=1;i=1;BrowseName=1:Folder;EventNotifier=5;AccessRestrictions=0;}("
            "DisplayName=Folder,RolePermissions(RolePermission{Permissions=3;}=i=15644,),"
            "Extensions(RTAddress=rt<1>,),)");
  EXPECT_EQ(out.node("ns=1;i=2"),
            "UAVariable{NodeId=ns=1;i=2;BrowseName=1:Var;ParentNodeId=ns=1;i=1;DataType=i=11;"
            "ValueRank=2;AccessLevel=1;MinimumSamplingInterval=250.000000;ArrayDimensions=3,4;}("
            "DisplayName=Var,)");
  EXPECT_EQ(out.node("ns=1;i=3"),
            "UAMethod{NodeId=ns=1;i=3;BrowseName=1:Run;Executable=false;}(DisplayName=Run,)");
  EXPECT_EQ(out.node("ns=1;i=4"),
            "UAVariableType{NodeId=ns=1;i=4;BrowseName=1:VType;DataType=i=6;}(DisplayName=VType,)");
  EXPECT_EQ(out.node("ns=1;i=5"),
            "UADataType{NodeId=ns=1;i=5;BrowseName=1:Colour;}(DisplayName=Colour,"
            "Definition{Name=1:Colour;IsOptionSet=true;}(Field{Name=Red;Value=1;}=,"
            "Field{Name=Green;Value=2;}(Description=grass,),),)");
  EXPECT_EQ(
      out.node("ns=1;i=6"),
      "UADataType{NodeId=ns=1;i=6;BrowseName=1:Choice;}(DisplayName=Choice,"
      "Definition{Name=1:Choice;IsUnion=true;}(Field{Name=X;DataType=i=11;ValueRank=1;}=,),)");
  EXPECT_EQ(out.node("ns=1;i=7"),
            "UADataType{NodeId=ns=1;i=7;BrowseName=1:Plain;}(DisplayName=Plain,)");
}

TEST(XmlExport, ValuesInTheTypesSchemaForms) {
  uagraph g;
  nstable t;
  uint32_t next = 1;
  const auto value = [&](ua_variant v) {
    add<UAVariable>(g, ua_nodeid(1, next++), "V", 1)->Value = std::move(v);
  };
  value(ua_variant::scalar_of(-1.5));
  value(
      ua_variant::scalar_of(ua_guid{0x01020304, 0x0506, 0x0708, {9, 10, 11, 12, 13, 14, 15, 16}}));
  value(ua_variant::scalar_of(ua_bytestring(std::string_view("hi!"))));
  value(ua_variant::scalar_of(ua_datetime{UA_DATETIME_UNIX_EPOCH}));
  value(ua_variant::scalar_of(ua_qualifiedname{1, "Q"}));
  ua_variant ints;
  auto span = ints.set_array<int32_t>(2);
  span[0] = 1, span[1] = -2;
  value(std::move(ints));
  ua_variant texts;
  texts.set_array<ua_localizedtext>(1)[0] = {"de", "Hallo"};
  value(std::move(texts));
  ua_variant none;
  none.set_array<ua_nodeid>(0);
  value(std::move(none));
  ua_extensionobject arg;
  auto* a = ua_extensionobject_emplace_ns0_as<ua_argument>(arg, UA_TYPE_ARGUMENT);
  ASSERT_NE(a, nullptr);
  a->name = "Handle";
  a->data_type = ua_nodeid(0, 7);
  a->array_dimensions = {0, 5};
  value(ua_variant::scalar_of(arg));
  ua_extensionobject blob;
  blob.encoding_id() = ua_nodeid(1, 5001);
  blob.set_encoded(ua_extensionobject_body::binary, ua_bytestring(std::string_view("\x01\x02")));
  value(ua_variant::scalar_of(blob));

  exported out(g, t);
  ASSERT_EQ(out.status, 0);
  const auto value_of = [&out](uint32_t id) {
    const std::string n = out.node("ns=1;i=" + std::to_string(id));
    const auto at = n.find("Value(");
    return at == std::string::npos ? n : n.substr(at, n.size() - at - 2);
  };
  EXPECT_EQ(value_of(1), "Value(Double=-1.500000,)");
  EXPECT_EQ(value_of(2), "Value(Guid(String=01020304-0506-0708-090a-0b0c0d0e0f10,),)");
  EXPECT_EQ(value_of(3), "Value(ByteString=aGkh,)");
  EXPECT_EQ(value_of(4), "Value(DateTime=1970-01-01T00:00:00Z,)");
  EXPECT_EQ(value_of(5), "Value(QualifiedName(NamespaceIndex=1,Name=Q,),)");
  EXPECT_EQ(value_of(6), "Value(ListOfInt32(Int32=1,Int32=-2,),)");
  EXPECT_EQ(value_of(7), "Value(ListOfLocalizedText(LocalizedText(Locale=de,Text=Hallo,),),)");
  EXPECT_EQ(value_of(8), "Value(ListOfNodeId=,)");
  // Extension objects: the XML encoding id, then the body field by field.
  EXPECT_EQ(value_of(9),
            "Value(ExtensionObject(TypeId(Identifier=i=297,),Body(Argument(Name=Handle,"
            "DataType(Identifier=i=7,),ValueRank=0,ArrayDimensions(UInt32=0,UInt32=5,),"
            "Description(Locale=,Text=,),),),),)");
  EXPECT_EQ(value_of(10),
            "Value(ExtensionObject(TypeId(Identifier=ns=1;i=5001,),Body(ByteString=AQI=,),),)");
}

TEST(XmlExport, IndentationFollowsDepthAndCanBeTurnedOff) {
  uagraph g;
  nstable t;
  add<UAObject>(g, ua_nodeid(0, 85), "Objects");
  const std::string node =
      "<UAObject NodeId=\"i=85\" BrowseName=\"Objects\">\n<DisplayName>Objects</DisplayName>\n"
      "</UAObject>\n";
  exported flat(g, t, xmlexport_options{false});
  EXPECT_NE(flat.text.find("\n" + node), std::string::npos);
  exported indented(g, t);
  EXPECT_NE(indented.text.find("\n  <UAObject NodeId=\"i=85\" BrowseName=\"Objects\">\n"
                               "    <DisplayName>Objects</DisplayName>\n  </UAObject>\n"),
            std::string::npos);
}

TEST(XmlExport, FailuresStopTheDocumentAndReport) {
  uagraph g;
  nstable t;
  add<UAObject>(g, ua_nodeid(0, 85), "Objects");
  ua_variant dv;
  dv.set_scalar(ua_datavalue{});
  add<UAVariable>(g, ua_nodeid(0, 2), "Bad")->Value = std::move(dv);
  add<UAObject>(g, ua_nodeid(0, 86), "After");
  {
    CaptureFd err(2);
    exported out(g, t);
    EXPECT_EQ(out.status, UA_EBADNOTSUPPORTED);
    EXPECT_NE(out.text.find("i=85"), std::string::npos);
    EXPECT_EQ(out.text.find("i=86"), std::string::npos);
    EXPECT_EQ(out.text.find("</UANodeSet>"), std::string::npos);
    EXPECT_NE(err.finish().find("unsupported value type DataValue"), std::string::npos);
  }
  CaptureFd err(2);
  TempDir dir;
  const std::string path = (dir / "missing" / "out.xml").string();
  EXPECT_EQ(xmlexport_write(g, t, path.c_str()), UA_EBAD);
  // A full disk shows when the buffer is written.
  if (std::FILE* full = std::fopen("/dev/full", "w")) {
    std::fclose(full);
    EXPECT_EQ(xmlexport_write(uagraph(), t, "/dev/full"), UA_EBAD);
  }
  const std::string messages = err.finish();
  EXPECT_NE(messages.find("cannot create '" + path + "'"), std::string::npos);
  EXPECT_NE(messages.find("error: cannot write '/dev/full': No space left on device\n"),
            std::string::npos)
      << messages;
}

}  // namespace
}  // namespace vos

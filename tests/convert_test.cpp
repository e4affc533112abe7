#include "tools/vospack/convert.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "diag/diag.h"
#include "support/testutil.h"
#include "tools/vospack/filereader.h"
#include "tools/vospack/nodeext.h"
#include "uabase/text_datetime.h"
#include "util/errors.h"

namespace vos {
namespace {

using test::CaptureFd;

// A small model in namespace 2 on top of a few namespace-0 nodes, with a namespace 3 that
// the model requires and the server namespace 1.
class ConvertTest : public ::testing::Test {
 protected:
  void SetUp() override {
    diag_set_verbosity(0);
    ns_.add_entry("urn:model", 1, 2, "m");
    ns_.add_entry("urn:dep", 2, 3, "d");
    nstable_entry& model = ns_.entries()[2];
    model.publication_date = "2020-01-01T00:00:00Z";
    model.version = "1.2";
    model.default_role_permissions.push_back({ua_nodeid(0, 15644), 3});
    ns_.add_required(model, ns_.entries()[0]);
    ns_.add_required(model, ns_.entries()[1]);
    ns_.add_required(model, ns_.entries()[3]);
    ns_.add_entry("urn:unused", 3, 4, "u");
    ASSERT_EQ(ns_.select_index("2"), 0);

    has_subtype_ = add<UAReferenceType>(ua_nodeid(0, 45), "HasSubtype");
    has_component_ = add<UAReferenceType>(ua_nodeid(0, 47), "HasComponent");
    has_typedef_ = add<UAReferenceType>(ua_nodeid(0, 40), "HasTypeDefinition");
    structure_ = add<UADataType>(ua_nodeid(0, 22), "Structure");
    objects_ = add<UAObject>(ua_nodeid(0, 85), "Objects");
    base_object_type_ = add<UAObjectType>(ua_nodeid(0, 58), "BaseObjectType");
    ref(*objects_, *base_object_type_, *has_typedef_);  // namespace 0 only: not written

    // Graph order puts the method with a declaration id first; the file puts it last.
    decl_method_ = add<UAMethod>(ua_nodeid(2, 20), "Declared");
    decl_method_->MethodDeclarationId = ua_nodeid(2, 21);
    method_ = add<UAMethod>(ua_nodeid::make_string(2, "M"), "Plain");
    method_->Executable = true;

    base_struct_ = add<UADataType>(ua_nodeid(2, 1), "Base");
    fill_structure(*base_struct_, {"A", "B"});
    sub_struct_ = add<UADataType>(ua_nodeid(2, 2), "Sub");
    fill_structure(*sub_struct_, {"C"});
    ref(*structure_, *base_struct_, *has_subtype_);
    ref(*base_struct_, *sub_struct_, *has_subtype_);
    enum_ = add<UADataType>(ua_nodeid(2, 3), "Colour");
    enum_->Definition.kind = UAGRAPH_DEFINITION_ENUMERATION;
    enum_->Definition.Name.name = "Colour";
    enum_->Definition.fields.resize(2);
    enum_->Definition.fields[0].Name = "Red";
    enum_->Definition.fields[0].DisplayName.text = "Red";
    enum_->Definition.fields[1].Name = "Green";
    enum_->Definition.fields[1].Value = 5;
    enum_->Definition.fields[1].Description.text = "grass";

    reftype_ = add<UAReferenceType>(ua_nodeid(2, 4), "Feeds");
    reftype_->InverseName.text = "FedBy";
    vartype_ = add<UAVariableType>(ua_nodeid(2, 5), "VT");
    vartype_->IsAbstract = true;
    objtype_ = add<UAObjectType>(ua_nodeid(2, 6), "OT");
    var_ = add<UAVariable>(ua_nodeid(2, 7), "Speed");
    var_->Value = ua_variant::scalar_of<int32_t>(-1);
    var_->DataType = ua_nodeid(0, 6);
    var_->MinimumSamplingInterval = 100.0;
    var_->AccessLevel = 3;
    const uint32_t dims[] = {1, 2, 3, 4};
    var_->ArrayInfo.set_ArrayDimensions(dims);
    var_->ArrayInfo.ValueRank = 4;
    obj_ = add<UAObject>(ua_nodeid(2, 8), "Motor");
    obj_->DisplayName.text = "Motor";
    obj_->extra_mut().Description.text = "Drives";
    obj_->extra_mut().Documentation = "doc text";
    obj_->extra_mut().RTAddress = "addr";
    obj_->extra_mut().extensions.push_back("<x/>");
    obj_->WriteMask = 0x60;
    obj_->set_access_restrictions(0);
    view_ = add<UAView>(ua_nodeid(2, 9), "View");
    view_->HasNoPermissions = true;
    empty_ = add<UAObject>(ua_nodeid(2, 10), "");

    ref(*objects_, *obj_, *has_component_);  // cross-reference into the model
    ref(*obj_, *objtype_, *has_typedef_);
    ref(*obj_, *var_, *has_component_);
    ref(*objtype_, *base_object_type_, *has_component_);  // into namespace 0: ordinary
  }

  template <class T>
  T* add(ua_nodeid id, std::string_view name) {
    uagraph_node_ptr node = uagraph::node_new(T::nodeclass_code);
    T* raw = node->template as<T>();
    raw->NodeId = std::move(id);
    raw->BrowseName.ns = raw->NodeId.ns();
    raw->BrowseName.name = name;
    EXPECT_EQ(graph_.node_add(std::move(node)), 0);
    return raw;
  }
  void ref(uagraph_node& s, uagraph_node& t, uagraph_node& type) {
    ASSERT_EQ(graph_.reference_add(s, t, type), 0);
  }
  static void fill_structure(UADataType& dt, const std::vector<std::string>& names) {
    dt.Definition.kind = UAGRAPH_DEFINITION_STRUCTURE;
    dt.Definition.Name.name = dt.BrowseName.name;
    dt.Definition.DefaultEncodingId = ua_nodeid(2, 100 + dt.NodeId.numeric_id());
    dt.Definition.BaseTypeId = ua_nodeid(0, 22);
    for (const std::string& n : names) {
      uagraph_field f;
      f.Name = n;
      f.DataType = ua_nodeid(0, 12);
      f.Description.text = n + " text";
      f.MaxStringLength = 8;
      dt.Definition.fields.push_back(std::move(f));
    }
  }

  // Writes and reads back; fails the test on a non-zero status.
  ua_file_contents convert(const char* extensions = nullptr) {
    const std::string path = (dir_ / "out.bin").string();
    EXPECT_EQ(convert_write_file(graph_, ns_, path.c_str(), extensions), 0);
    ua_file_contents f;
    EXPECT_EQ(ua_file_read_path(path.c_str(), f), 0);
    return f;
  }

  const ua_file_read_node* find(const ua_file_contents& f, const ua_nodeid& id) {
    for (const ua_file_read_node& n : f.nodes)
      if (n.nodeid == id) return &n;
    return nullptr;
  }

  test::TempDir dir_;
  nstable ns_;
  uagraph graph_;
  UAReferenceType *has_subtype_, *has_component_, *has_typedef_, *reftype_;
  UADataType *structure_, *base_struct_, *sub_struct_, *enum_;
  UAObject *objects_, *obj_, *empty_;
  UAObjectType *base_object_type_, *objtype_;
  UAMethod *decl_method_, *method_;
  UAVariableType* vartype_;
  UAVariable* var_;
  UAView* view_;
};

TEST_F(ConvertTest, WrittenFileMatchesTheGraph) {
  const ua_file_contents f = convert();

  // Only namespace-2 nodes, in section order, the methods in two passes.
  std::vector<ua_nodeid> order;
  for (const ua_file_read_node& n : f.nodes) order.push_back(n.nodeid);
  const std::vector<ua_nodeid> expected = {ua_nodeid(2, 1),  ua_nodeid(2, 2),
                                           ua_nodeid(2, 3),  ua_nodeid(2, 4),
                                           ua_nodeid(2, 5),  ua_nodeid(2, 6),
                                           ua_nodeid(2, 7),  ua_nodeid(2, 8),
                                           ua_nodeid(2, 10), ua_nodeid::make_string(2, "M"),
                                           ua_nodeid(2, 20), ua_nodeid(2, 9)};
  EXPECT_EQ(order, expected);
  const ua_file_totals totals = {3, 1, 1, 1, 1, 2, 2, 1, 6, 11, 1, 0, 0};
  EXPECT_EQ(f.totals, totals);

  // Model and dependency records: namespace 1 is never a dependency, unused 4 is left out.
  ASSERT_EQ(f.models.size(), 1u);
  EXPECT_EQ(f.models[0].index, 2);
  EXPECT_EQ(f.models[0].uri, "urn:model");
  EXPECT_EQ(f.models[0].version, "1.2");
  EXPECT_EQ(f.models[0].counts, totals);
  EXPECT_EQ(f.models[0].role_permissions.size(), 1u);
  ua_datetime date;
  ASSERT_EQ(ua_datetime_from_string(date, "2020-01-01T00:00:00Z"), 0);
  EXPECT_EQ(f.models[0].publication_date, date.ticks);
  EXPECT_EQ(f.creation_time, 1577836800);
  ASSERT_EQ(f.dependencies.size(), 2u);
  EXPECT_EQ(f.dependencies[0].index, 0);
  EXPECT_EQ(f.dependencies[1].index, 3);
  EXPECT_EQ(f.dependencies[1].publication_date, UA_DATETIME_UNIX_EPOCH);
  EXPECT_EQ(f.dependencies[1].counts, ua_file_totals{});

  // One URI, one generator record.
  EXPECT_EQ(f.extension_uris, std::vector<std::string>({"extension://velmora"}));
  ASSERT_EQ(f.file_extensions.size(), 1u);
  EXPECT_EQ(f.file_extensions[0].id, 3);
  EXPECT_EQ(f.file_extensions[0].data.view(), std::string_view("\x07\0\0\0vospack\x05\0\0\0"
                                                               "1.8.1",
                                                               20));

  // One string table, no duplicates, entry 0 empty.
  ASSERT_EQ(f.string_tables.size(), 1u);
  const std::vector<std::string>& strings = f.string_tables[0].strings;
  EXPECT_EQ(strings.at(0), "");
  EXPECT_EQ(std::set<std::string>(strings.begin(), strings.end()).size(), strings.size());
  for (const char* s : {"Motor", "Drives", "FedBy", "grass", "A text", "Colour"})
    EXPECT_NE(std::find(strings.begin(), strings.end(), s), strings.end()) << s;

  // References of written nodes in node order, then the cross-reference.
  ASSERT_EQ(f.references.size(), 6u);
  EXPECT_EQ(f.references[0].source, ua_nodeid(2, 1));
  EXPECT_EQ(f.references[0].target, ua_nodeid(2, 2));
  EXPECT_EQ(f.references[1].source, ua_nodeid(2, 6));
  EXPECT_EQ(f.references[1].target, ua_nodeid(0, 58));
  EXPECT_EQ(f.references[2].target, ua_nodeid(2, 6));
  EXPECT_EQ(f.references[3].target, ua_nodeid(2, 7));
  EXPECT_EQ(f.references[4].source, ua_nodeid(0, 22));
  EXPECT_EQ(f.references[4].target, ua_nodeid(2, 1));
  EXPECT_EQ(f.references[5].source, ua_nodeid(0, 85));
  EXPECT_EQ(f.references[5].type, ua_nodeid(0, 47));
}

TEST_F(ConvertTest, NodeAttributesAndDefinitions) {
  const ua_file_contents f = convert();
  const ua_file_read_node* obj = find(f, ua_nodeid(2, 8));
  ASSERT_NE(obj, nullptr);
  EXPECT_EQ(f.string(obj->browse_name), "Motor");
  EXPECT_EQ(f.string(obj->description), "Drives");
  EXPECT_EQ(obj->write_mask, 0x60u);
  EXPECT_EQ(obj->perm_flags, UA_FILE_PERM_ACCESSRESTRICTIONS);  // given as 0, still written
  ASSERT_EQ(obj->extensions.size(), 1u);  // the runtime address only, by default
  EXPECT_EQ(obj->extensions[0].id, NODEEXT_ID_RTADDRESS);
  EXPECT_EQ(obj->extensions[0].data.view(), "addr");

  const ua_file_read_node* empty = find(f, ua_nodeid(2, 10));
  ASSERT_NE(empty, nullptr);
  EXPECT_EQ(empty->browse_name, 0u);
  EXPECT_EQ(empty->flags & (UA_FILE_NODE_DISPLAYNAME | UA_FILE_NODE_DESCRIPTION), 0);
  EXPECT_EQ(find(f, ua_nodeid(2, 9))->perm_flags, UA_FILE_PERM_ROLEPERMISSIONS);

  const ua_file_read_node* var = find(f, ua_nodeid(2, 7));
  EXPECT_EQ(var->value, ua_variant::scalar_of<int32_t>(-1));
  EXPECT_EQ(var->datatype, ua_nodeid(0, 6));
  EXPECT_EQ(var->value_rank, 4);
  EXPECT_EQ(var->array_dimensions, std::vector<uint32_t>({1, 2, 3}));
  EXPECT_EQ(var->access_level, 3);
  EXPECT_EQ(var->minimum_sampling_interval, 100u);
  EXPECT_NE(find(f, ua_nodeid(2, 5))->flags2 & UA_FILE_VARTYPE2_ABSTRACT, 0);
  EXPECT_EQ(f.string(find(f, ua_nodeid(2, 4))->inverse_name), "FedBy");
  EXPECT_EQ(find(f, ua_nodeid(2, 20))->method_declaration, ua_nodeid(2, 21));

  // A subtype's fields follow those of its supertype.
  const ua_file_read_node* sub = find(f, ua_nodeid(2, 2));
  EXPECT_EQ(sub->definition.kind, 1 | UA_FILE_DEFINITION_NAME);
  EXPECT_EQ(f.string(sub->definition.name), "Sub");
  EXPECT_EQ(sub->definition.default_encoding, ua_nodeid(2, 102));
  std::vector<std::string_view> names;
  for (const auto& field : sub->definition.fields) names.push_back(f.string(field.name));
  EXPECT_EQ(names, std::vector<std::string_view>({"A", "B", "C"}));
  EXPECT_EQ(f.string(sub->definition.fields[2].text2), "C text");
  EXPECT_EQ(sub->definition.fields[2].max_string_length, 8u);

  const ua_file_read_node* colour = find(f, ua_nodeid(2, 3));
  EXPECT_EQ(colour->definition.kind & UA_FILE_DEFINITION_KIND_MASK, 4);
  ASSERT_EQ(colour->definition.enum_fields.size(), 2u);
  EXPECT_EQ(f.string(colour->definition.enum_fields[0].text1), "Red");
  EXPECT_EQ(colour->definition.enum_fields[1].value, 5);
  EXPECT_EQ(f.string(colour->definition.enum_fields[1].text2), "grass");
}

TEST_F(ConvertTest, ExtensionSelection) {
  CaptureFd out(1);
  const ua_file_contents all = convert("all");
  const ua_file_contents none = convert("none");
  const ua_file_contents xml = convert("xml");
  EXPECT_EQ(out.finish(),
            "Selected extensions:\n Default: yes\n Doc    : yes\n XML    : yes\n"
            "Selected extensions:\n Default: no\n Doc    : no\n XML    : no\n"
            "Selected extensions:\n Default: yes\n Doc    : no\n XML    : no\n");
  std::vector<uint16_t> ids;
  for (const auto& e : find(all, ua_nodeid(2, 8))->extensions) ids.push_back(e.id);
  EXPECT_EQ(ids, std::vector<uint16_t>({7, 6, 8}));
  EXPECT_TRUE(find(none, ua_nodeid(2, 8))->extensions.empty());
  EXPECT_EQ(find(none, ua_nodeid(2, 8))->flags & UA_FILE_NODE_EXTENSIONS, 0);
  EXPECT_EQ(find(xml, ua_nodeid(2, 8))->extensions.size(), 1u);

  // Without the extension URI nothing can be added; the node is still written.
  diag_set_verbosity(1);
  CaptureFd err(2);
  ua_file_writer bare;
  ua_file_node rec;
  nodeext_selection sel;
  nodeext_add_selected(bare, sel, *obj_, rec);
  EXPECT_EQ(err.finish(), "error: failed to add rtaddress extension\n");
  EXPECT_EQ(rec.flags & UA_FILE_NODE_EXTENSIONS, 0);
  EXPECT_EQ(nodeext_add_documentation(bare, rec, "d"), UA_EBADNOTFOUND);

  nodeext_parse_selection(sel, "none,doc");
  EXPECT_EQ(sel.bits, NODEEXT_SELECT_DOC);
  nodeext_parse_selection(sel, "doc,none");
  EXPECT_EQ(sel.bits, 0u);
  nodeext_parse_selection(sel, "default,bogus");
  EXPECT_EQ(sel.bits, NODEEXT_SELECT_DEFAULT);
}

TEST_F(ConvertTest, ProgressLines) {
  diag_set_verbosity(2);
  CaptureFd out(1);
  convert();
  const std::string text = out.finish();
  diag_set_verbosity(0);
  EXPECT_NE(text.find("Writing object: id=ns=2;i=8, bn=Motor, dn=Motor, desc=Drives\n"),
            std::string::npos);
  EXPECT_NE(text.find("Writing reference: ns=2;i=8 -> ns=2;i=7: i=47\n"), std::string::npos);
  EXPECT_NE(text.find("Writing cross-reference: i=85 -> ns=2;i=8: i=47\n"), std::string::npos);
}

TEST_F(ConvertTest, CreationTimeWithoutPublicationDates) {
  ns_.entries()[2].publication_date.reset();
  const int64_t before = static_cast<int64_t>(std::time(nullptr));
  const ua_file_contents f = convert();
  EXPECT_GE(f.creation_time, before);
  EXPECT_EQ(f.models[0].publication_date, UA_DATETIME_UNIX_EPOCH);
}

TEST_F(ConvertTest, FailuresLeaveNoValidFile) {
  diag_set_verbosity(1);
  // The output folder does not exist, or the output is a folder: the writer says why.
  CaptureFd create_err(2);
  const std::string missing = (dir_ / "no" / "x.bin").string();
  const std::string folder = dir_.path().string();
  EXPECT_NE(convert_write_file(graph_, ns_, missing.c_str(), nullptr), 0);
  EXPECT_FALSE(std::filesystem::exists(dir_ / "no"));
  EXPECT_NE(convert_write_file(graph_, ns_, folder.c_str(), nullptr), 0);
  EXPECT_EQ(create_err.finish(), "error: cannot create '" + missing +
                                     "': No such file or directory\n" + "error: cannot create '" +
                                     folder + "': Is a directory\n");

  // An unknown definition kind stops the run; the file has no checksum.
  CaptureFd err(2);
  CaptureFd out(1);
  enum_->Definition.kind = 9;
  const std::string path = (dir_ / "bad.bin").string();
  EXPECT_EQ(convert_write_file(graph_, ns_, path.c_str(), nullptr), UA_EBAD);
  ua_file_contents f;
  EXPECT_NE(ua_file_read_path(path.c_str(), f), 0);
  EXPECT_EQ(err.finish(),
            "unhandled enum value in output_create_stringtable: 9\n"
            "error: unsupported datadefinition type: 9 \n"
            "error: failed to write node ns=2;i=3: UA_EBAD\n");
  // The run stops at the failing node.
  const std::string progress = out.finish();
  EXPECT_NE(progress.find("Writing datatype: id=ns=2;i=3, bn=Colour"), std::string::npos);
  EXPECT_EQ(progress.find("Writing referencetype"), std::string::npos);
}

}  // namespace
}  // namespace vos

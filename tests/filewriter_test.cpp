#include "tools/vospack/filewriter.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "support/testutil.h"
#include "tools/vospack/filereader.h"
#include "tools/vospack/filevalue.h"
#include "tools/vospack/uagraph.h"
#include "uabase/ns0_types_gen.h"
#include "uabase/type_table.h"
#include "util/errors.h"

namespace vos {
namespace {

using test::CaptureFd;
using bytes = std::vector<uint8_t>;

// Runs `fn` on a writer in memory mode and returns what it wrote after the header.
template <class Fn>
bytes written(Fn fn, int expected = 0) {
  ua_file_writer w;
  w.create_string_tables(1, "");
  EXPECT_EQ(w.open_memory(), 0);
  const std::size_t header = w.memory().size();
  EXPECT_EQ(fn(w), expected);
  return bytes(w.memory().begin() + static_cast<std::ptrdiff_t>(header), w.memory().end());
}

TEST(FileWriterPrimitives, VarintsZigzagAndRawNumbers) {
  EXPECT_EQ(written([](auto& w) { return w.write_var_u32(0); }), bytes({0x00}));
  EXPECT_EQ(written([](auto& w) { return w.write_var_u32(127); }), bytes({0x7F}));
  EXPECT_EQ(written([](auto& w) { return w.write_var_u32(128); }), bytes({0x80, 0x01}));
  EXPECT_EQ(written([](auto& w) { return w.write_var_u32(0xFFFFFFFF); }),
            bytes({0xFF, 0xFF, 0xFF, 0xFF, 0x0F}));
  EXPECT_EQ(written([](auto& w) { return w.write_var_u64(UINT64_MAX); }),
            bytes({0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x01}));
  EXPECT_EQ(written([](auto& w) { return w.write_var_i32(-1); }), bytes({0x01}));
  EXPECT_EQ(written([](auto& w) { return w.write_var_i32(1); }), bytes({0x02}));
  EXPECT_EQ(written([](auto& w) { return w.write_var_i32(INT32_MIN); }),
            bytes({0xFF, 0xFF, 0xFF, 0xFF, 0x0F}));
  EXPECT_EQ(written([](auto& w) { return w.write_var_i16(-64); }), bytes({0x7F}));
  EXPECT_EQ(written([](auto& w) { return w.write_var_i64(INT64_MIN); }),
            bytes({0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x01}));
  EXPECT_EQ(written([](auto& w) { return w.write_raw_u16(0x1234); }), bytes({0x34, 0x12}));
  EXPECT_EQ(written([](auto& w) { return w.write_raw_u32(0x01020304); }),
            bytes({0x04, 0x03, 0x02, 0x01}));
  EXPECT_EQ(written([](auto& w) { return w.write_raw_i64(-2); }),
            bytes({0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}));
}

TEST(FileWriterPrimitives, StringsAndNodeIds) {
  EXPECT_EQ(written([](auto& w) { return w.write_cstr(std::string_view()); }), bytes({0x00}));
  EXPECT_EQ(written([](auto& w) { return w.write_cstr("ab"); }), bytes({0x02, 'a', 'b'}));
  EXPECT_EQ(written([](auto& w) { return w.write_uastring(ua_string::null()); }), bytes({0x00}));
  EXPECT_EQ(written([](auto& w) { return w.write_bytestr(ua_bytestring(std::string_view("x"))); }),
            bytes({0x01, 'x'}));
  // A null ByteString cannot be written.
  EXPECT_EQ(written([](auto& w) { return w.write_bytestr(ua_bytestring::null()); }, UA_EBAD),
            bytes());

  EXPECT_EQ(written([](auto& w) { return w.write_nodeid(ua_nodeid(1, 5)); }), bytes({0x04, 0x05}));
  EXPECT_EQ(written([](auto& w) { return w.write_nodeid(ua_nodeid::make_string(0, "A")); }),
            bytes({0x01, 0x01, 0x41}));
  ua_guid g{0x04030201, 0x0605, 0x0807, {9, 10, 11, 12, 13, 14, 15, 16}};
  EXPECT_EQ(written([&](auto& w) { return w.write_nodeid(ua_nodeid::make_guid(2, g)); }),
            bytes({0x0A, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}));
  const uint8_t opaque[] = {0xAA, 0xBB};
  EXPECT_EQ(written([&](auto& w) { return w.write_nodeid(ua_nodeid::make_opaque(300, opaque)); }),
            bytes({0xB3, 0x09, 0x02, 0xAA, 0xBB}));
}

TEST(FileWriterValues, ScalarsArraysAndMatrices) {
  const auto variant = [](const ua_variant& v, int expected = 0) {
    return written([&](auto& w) { return ua_file_writer_write_variant(w, v); }, expected);
  };
  EXPECT_EQ(variant(ua_variant::scalar_of<int32_t>(-1)), bytes({0x06, 0x01}));
  EXPECT_EQ(variant(ua_variant::scalar_of<uint32_t>(300)), bytes({0x07, 0xAC, 0x02}));
  EXPECT_EQ(variant(ua_variant::scalar_of(ua_string(""))), bytes({0x0C, 0x00}));
  EXPECT_EQ(variant(ua_variant::scalar_of(2.0f)), bytes({0x0A, 0x00, 0x00, 0x00, 0x40}));
  EXPECT_EQ(variant(ua_variant::scalar_of(ua_qualifiedname{3, "q"})),
            bytes({0x14, 0x03, 0x01, 'q'}));
  EXPECT_EQ(variant(ua_variant::scalar_of(ua_localizedtext{"", "t"})),
            bytes({0x15, 0x00, 0x01, 't'}));
  EXPECT_EQ(variant(ua_variant()), bytes({0x00}));

  ua_variant bools;
  std::span<bool> b = bools.set_array<bool>(2);
  b[0] = true;
  EXPECT_EQ(variant(bools), bytes({0x81, 0x02, 0x01, 0x00}));

  ua_variant matrix;
  std::span<int32_t> m = matrix.set_array<int32_t>(6);
  for (int i = 0; i < 6; ++i) m[static_cast<std::size_t>(i)] = i - 1;
  const int32_t dims[] = {2, 3};
  matrix.set_dimensions(dims);
  EXPECT_EQ(variant(matrix),
            bytes({0xC6, 0x06, 0x01, 0x00, 0x02, 0x04, 0x06, 0x08, 0x02, 0x02, 0x03}));
  const int32_t negative[] = {2, -3};
  matrix.set_dimensions(negative);
  EXPECT_EQ(variant(matrix, UA_EBADINVALIDARGUMENT), bytes());
}

TEST(FileWriterValues, RefusalsWithTheirMessages) {
  CaptureFd err(2);
  // Unsupported scalar and array types.
  ua_variant dv;
  dv.set_scalar(ua_datavalue{});
  EXPECT_EQ(written([&](auto& w) { return ua_file_writer_write_variant(w, dv); }, UA_EBAD),
            bytes({0x17}));
  ua_variant en;
  en.set_array<ua_expandednodeid>(1);
  EXPECT_EQ(written([&](auto& w) { return ua_file_writer_write_variant(w, en); }, UA_EBAD),
            bytes({0x92, 0x01}));
  // Null values behind value types that need one.
  written([](auto& w) { return ua_file_writer_write_variant_scalar(w, UA_VT_GUID, nullptr); },
          UA_EBADINVALIDARGUMENT);
  // XML bodies are not written; the encoding id already is.
  ua_extensionobject xml;
  xml.encoding_id() = ua_nodeid(0, 5);
  xml.set_encoded(ua_extensionobject_body::xml, ua_bytestring(std::string_view("<a/>")));
  EXPECT_EQ(written([&](auto& w) { return ua_file_writer_write_extensionobject(w, xml); },
                    UA_EBADINVALIDARGUMENT),
            bytes({0x00, 0x05}));
  // A type id that no type table knows.
  ua_extensionobject unknown;
  unknown.type_id() = ua_nodeid(0, 999999);
  written([&](auto& w) { return ua_file_writer_write_extensionobject(w, unknown); },
          UA_EBADNOTFOUND);
  EXPECT_EQ(err.finish(),
            "error(ua_file_writer_write_variant_scalar): Variant type 23 is not supported.\n"
            "error(ua_file_writer_write_variant_array): Array of Variant type 18 is not "
            "supported.\n"
            "error(ua_file_writer_write_variant_scalar): variant guid is NULL\n"
            "ExtensionObject with XML body is not supported\n"
            "extensionobject with typeid i=999999 not found.\n");
}

TEST(FileWriterValues, ExtensionObjectBodies) {
  // Pre-encoded bodies are copied; the encoding id comes from the type table when missing.
  ua_extensionobject pre;
  pre.type_id() = ua_nodeid(0, 296);  // Argument
  pre.set_encoded(ua_extensionobject_body::binary, ua_bytestring(std::string_view("xyz")));
  EXPECT_EQ(written([&](auto& w) { return ua_file_writer_write_extensionobject(w, pre); }),
            bytes({0x00, 0xAA, 0x02, 0x03, 'x', 'y', 'z'}));

  // A decoded structure is encoded without the body's length prefix.
  ua_extensionobject arg;
  auto* a = static_cast<ua_argument*>(ua_extensionobject_emplace_ns0(arg, UA_TYPE_ARGUMENT));
  ASSERT_NE(a, nullptr);
  a->name = ua_string("n");
  arg.encoding_id().clear();
  const bytes body = written([&](auto& w) { return ua_file_writer_write_extensionobject(w, arg); });
  ASSERT_GE(body.size(), 5u);
  EXPECT_EQ(bytes(body.begin(), body.begin() + 4), bytes({0x00, 0xAA, 0x02, body[3]}));
  EXPECT_EQ(body.size(), 4u + body[3]);
  EXPECT_EQ(bytes(body.begin() + 4, body.begin() + 9), bytes({0x01, 0x00, 0x00, 0x00, 'n'}));

  // A body that needs more than 1024 bytes with its length fails in the encoder.
  a->description.text = ua_string(std::string(1100, 'd'));
  CaptureFd err(2);
  written(
      [&](auto& w) {
        const int ret = ua_file_writer_write_extensionobject(w, arg);
        return ret < 0 ? -1 : 0;
      },
      -1);
  EXPECT_EQ(err.finish(),
            "error(ua_file_writer_write_extensionobject): encoding Encodableobject failed.\n");
}

// A writer with the converter's fixed parts and `strings` as table 0.
void prepare(ua_file_writer& w, const std::vector<std::string>& strings) {
  w.set_creation_time(1700000000);
  w.reserve_extension_uris(1);
  ASSERT_EQ(w.add_extension_uri("extension://velmora"), 0);
  ua_file_extension ext;
  ext.id = 3;
  ext.data = ua_bytestring(std::string_view("gen"));
  w.add_file_extension(ext);
  ASSERT_EQ(w.create_string_tables(static_cast<uint32_t>(strings.size()), ""), 0);
  for (uint32_t i = 0; i < strings.size(); ++i) ASSERT_EQ(w.set_string(0, i, strings[i]), 0);
}

TEST(FileWriterFile, EveryNodeClassReadsBack) {
  test::TempDir dir;
  const std::string path = (dir / "all.bin").string();
  const std::vector<std::string> strings = {"", "Name", "Text", "Inverse"};
  ua_file_writer w;
  prepare(w, strings);
  ua_file_namespace dep;
  dep.index = 0;
  dep.uri = "http://opcfoundation.org/UA/";
  dep.version = "1.05";
  w.add_dependency_namespace(dep);
  ua_file_namespace model;
  model.index = 2;
  model.uri = "urn:model";
  model.counts[UA_FILE_TOTAL_OBJECT] = 1;
  model.role_permissions.push_back({ua_nodeid(0, 15644), 0x1F});
  model.access_restrictions = 3;
  w.add_model_namespace(model);
  const uint32_t classes[] = {UA_NODECLASS_DATATYPE,     UA_NODECLASS_REFERENCETYPE,
                              UA_NODECLASS_VARIABLETYPE, UA_NODECLASS_OBJECTTYPE,
                              UA_NODECLASS_VARIABLE,     UA_NODECLASS_OBJECT,
                              UA_NODECLASS_METHOD,       UA_NODECLASS_VIEW};
  for (uint32_t c : classes) w.totals()[ua_file_total_of_class(c)] = 1;
  w.totals()[UA_FILE_TOTAL_REFERENCE] = 1;
  ASSERT_EQ(w.open(path.c_str()), 0);

  const ua_nodeid ids[] = {ua_nodeid(2, 1), ua_nodeid(2, 2), ua_nodeid(2, 3), ua_nodeid(2, 4),
                           ua_nodeid(2, 5), ua_nodeid(2, 6), ua_nodeid(2, 7), ua_nodeid(2, 8)};
  const ua_nodeid enc(2, 100), base(0, 22), i32(0, 6);
  const uint32_t dims[] = {4, 5};
  const uagraph_rolepermission perms[] = {{ua_nodeid(0, 15656), 7}};
  const ua_variant value = ua_variant::scalar_of<int32_t>(42);
  ua_file_node n;
  for (std::size_t i = 0; i < 8; ++i) {
    n.reset(classes[i]);
    n.nodeid = &ids[i];
    n.browse_ns = 2;
    n.browse_name = 1;
    n.flags = UA_FILE_NODE_DISPLAYNAME;
    n.display_name = 2;
    switch (classes[i]) {
      case UA_NODECLASS_DATATYPE: {
        n.flags |= UA_FILE_DATATYPE_DEFINITION | UA_FILE_DATATYPE_ABSTRACT;
        n.definition.kind = 1 | UA_FILE_DEFINITION_NAME;
        n.definition.name = 1;
        n.definition.default_encoding = &enc;
        n.definition.base_type = &base;
        ua_file_structure_field f;
        f.flags = UA_FILE_SFIELD_TEXT2 | UA_FILE_SFIELD_MAXLENGTH | UA_FILE_SFIELD_OPTIONAL;
        f.name = 1;
        f.text2 = 2;
        f.datatype = &i32;
        f.value_rank = 2;
        f.num_dims = 2;
        f.dims = dims;
        f.max_string_length = 80;
        n.definition.fields.push_back(f);
        break;
      }
      case UA_NODECLASS_REFERENCETYPE:
        n.flags |= UA_FILE_REFTYPE_SYMMETRIC | UA_FILE_REFTYPE_INVERSENAME;
        n.inverse_name = 3;
        break;
      case UA_NODECLASS_VARIABLE:
      case UA_NODECLASS_VARIABLETYPE:
        n.flags |=
            UA_FILE_VAR_VALUE | UA_FILE_VAR_DATATYPE | UA_FILE_VAR_VALUERANK | UA_FILE_NODE_FLAGS2;
        n.value = &value;
        n.datatype = &i32;
        n.value_rank = 2;
        n.flags2 =
            UA_FILE_VAR2_ARRAYDIMENSIONS | UA_FILE_VAR2_ACCESSLEVEL | UA_FILE_VAR2_MINSAMPLING;
        n.array_dimensions = dims;
        n.access_level = 3;
        n.minimum_sampling_interval = 250;
        break;
      case UA_NODECLASS_OBJECT:
        n.flags |= UA_FILE_OBJECT_EVENTNOTIFIER | UA_FILE_NODE_WRITEMASK | UA_FILE_NODE_EXTENSIONS;
        n.event_notifier = 5;
        n.write_mask = 0x12345678;
        n.perm_flags = UA_FILE_PERM_ACCESSRESTRICTIONS | UA_FILE_PERM_ROLEPERMISSIONS;
        n.access_restrictions = 2;
        n.role_permissions = perms;
        n.extensions.push_back({0, 6, ua_bytestring(std::string_view("addr"))});
        break;
      case UA_NODECLASS_METHOD:
        n.flags |= UA_FILE_METHOD_EXECUTABLE | UA_FILE_METHOD_DECLARATION;
        n.method_declaration = &ids[0];
        break;
      default:
        break;
    }
    ASSERT_EQ(w.write_node(n), 0) << i;
  }
  ASSERT_EQ(w.write_reference(ids[5], ids[4], ua_nodeid(0, 47)), 0);
  ASSERT_EQ(w.close(), 0);

  ua_file_contents f;
  ASSERT_EQ(ua_file_read_path(path.c_str(), f), 0);
  EXPECT_EQ(f.major, 1);
  EXPECT_EQ(f.minor, 9);
  EXPECT_EQ(f.creation_time, 1700000000);
  EXPECT_EQ(f.extension_uris, std::vector<std::string>({"extension://velmora"}));
  ASSERT_EQ(f.file_extensions.size(), 1u);
  EXPECT_EQ(f.file_extensions[0].data.view(), "gen");
  ASSERT_EQ(f.string_tables.size(), 1u);
  EXPECT_EQ(f.string_tables[0].name, "");
  EXPECT_EQ(f.string_tables[0].strings, strings);
  ASSERT_EQ(f.dependencies.size(), 1u);
  EXPECT_EQ(f.dependencies[0], dep);
  ASSERT_EQ(f.models.size(), 1u);
  EXPECT_EQ(f.models[0], model);
  ASSERT_EQ(f.nodes.size(), 8u);
  for (std::size_t i = 0; i < 8; ++i) {
    EXPECT_EQ(f.nodes[i].nodeclass, classes[i]);
    EXPECT_EQ(f.nodes[i].nodeid, ids[i]);
    EXPECT_EQ(f.string(f.nodes[i].display_name), "Text");
  }
  const ua_file_read_node& dt = f.nodes[0];
  ASSERT_EQ(dt.definition.fields.size(), 1u);
  EXPECT_EQ(dt.definition.default_encoding, enc);
  EXPECT_EQ(dt.definition.fields[0].dims, std::vector<uint32_t>({4, 5}));
  EXPECT_EQ(dt.definition.fields[0].max_string_length, 80u);
  EXPECT_EQ(dt.definition.fields[0].value_rank, 2);
  EXPECT_EQ(f.string(f.nodes[1].inverse_name), "Inverse");
  const ua_file_read_node& var = f.nodes[4];
  EXPECT_EQ(var.value, value);
  EXPECT_EQ(var.array_dimensions, std::vector<uint32_t>({4, 5}));
  EXPECT_EQ(var.minimum_sampling_interval, 250u);
  EXPECT_EQ(var.access_level, 3);
  EXPECT_EQ(f.nodes[2].value, value);
  const ua_file_read_node& obj = f.nodes[5];
  EXPECT_EQ(obj.event_notifier, 5);
  EXPECT_EQ(obj.write_mask, 0x12345678u);
  EXPECT_EQ(obj.access_restrictions, 2);
  ASSERT_EQ(obj.role_permissions.size(), 1u);
  EXPECT_EQ(obj.role_permissions[0], perms[0]);
  ASSERT_EQ(obj.extensions.size(), 1u);
  EXPECT_EQ(obj.extensions[0].data.view(), "addr");
  EXPECT_EQ(f.nodes[6].method_declaration, ids[0]);
  ASSERT_EQ(f.references.size(), 1u);
  EXPECT_EQ(f.references[0].type, ua_nodeid(0, 47));
}

TEST(FileWriterFile, ChecksumIsTheLastFourBytesAndCatchesAFlippedByte) {
  test::TempDir dir;
  const auto path = dir / "sum.bin";
  ua_file_writer w;
  prepare(w, {""});
  ASSERT_EQ(w.open(path.string().c_str()), 0);
  ASSERT_EQ(w.close(), 0);
  std::string data = test::read_file(path);
  ASSERT_GT(data.size(), 4u);
  EXPECT_EQ(data.substr(0, 6), std::string("UAAD\x01\x09", 6));
  // Adler-32 by its definition, over everything but the trailer.
  uint32_t a = 1, b = 0;
  for (std::size_t i = 0; i + 4 < data.size(); ++i) {
    a = (a + static_cast<uint8_t>(data[i])) % 65521;
    b = (b + a) % 65521;
  }
  const uint32_t expected = b * 65536 + a;
  uint32_t stored = 0;
  for (int i = 3; i >= 0; --i)
    stored =
        (stored << 8) | static_cast<uint8_t>(data[data.size() - 4 + static_cast<std::size_t>(i)]);
  EXPECT_EQ(stored, expected);

  ua_file_contents f;
  const auto* p = reinterpret_cast<const uint8_t*>(data.data());
  EXPECT_EQ(ua_file_read({p, data.size()}, f), 0);
  data[7] = static_cast<char>(data[7] ^ 0x10);
  EXPECT_EQ(ua_file_read({p, data.size()}, f), UA_EBADMISMATCH);
  EXPECT_EQ(ua_file_read({p, 3}, f), UA_EBADTRUNCATED);
}

TEST(FileWriterFile, ChecksumSpansSeveralOutputBlocks) {
  test::TempDir dir;
  const std::string path = (dir / "big.bin").string();
  constexpr uint32_t kRefs = 40000;  // about 400 KB of references
  ua_file_writer w;
  prepare(w, {""});
  w.totals()[UA_FILE_TOTAL_REFERENCE] = kRefs;
  ASSERT_EQ(w.open(path.c_str()), 0);
  for (uint32_t i = 0; i < kRefs; ++i)
    ASSERT_EQ(w.write_reference(ua_nodeid(2, i * 977), ua_nodeid(2, i), ua_nodeid(0, 47)), 0);
  ASSERT_EQ(w.close(), 0);
  ua_file_contents f;
  ASSERT_EQ(ua_file_read_path(path.c_str(), f), 0);
  ASSERT_EQ(f.references.size(), kRefs);
  EXPECT_EQ(f.references[kRefs - 1].source, ua_nodeid(2, (kRefs - 1) * 977));
}

TEST(FileWriterFile, CloseValidatesTheStringTables) {
  test::TempDir dir;
  CaptureFd err(2);
  ua_file_writer none;
  EXPECT_EQ(none.close(), UA_EBAD);  // never opened: no file name

  ua_file_writer no_tables;
  ASSERT_EQ(no_tables.open((dir / "a.bin").string().c_str()), 0);
  EXPECT_EQ(no_tables.close(), UA_EBAD);

  ua_file_writer missing;
  ASSERT_EQ(missing.create_string_tables(3, ""), 0);
  ASSERT_EQ(missing.set_string(0, 1, "x"), 0);
  EXPECT_EQ(missing.set_string(0, 3, "x"), UA_EBAD);
  EXPECT_EQ(missing.set_string(1, 0, "x"), UA_EBAD);
  ASSERT_EQ(missing.open((dir / "b.bin").string().c_str()), 0);
  EXPECT_EQ(missing.close(), UA_EBAD);
  EXPECT_EQ(err.finish(),
            "filename is NULL in filewriter context.\n"
            "There must be at least one string table.\n"
            "The first string table must contain a valid string for each table entry.\n"
            "w->stringtables[0].strings[2] == NULL\n");

  // Entry 0 needs no text; a table with only that entry passes.
  ua_file_writer one;
  ASSERT_EQ(one.create_string_tables(1, ""), 0);
  ASSERT_EQ(one.open((dir / "c.bin").string().c_str()), 0);
  EXPECT_EQ(one.close(), 0);
}

TEST(FileWriterFile, TablesUrisAndUnwritablePaths) {
  ua_file_writer w;
  ASSERT_EQ(w.create_string_tables(2, "en;de;"), 0);
  ASSERT_EQ(w.string_tables().size(), 3u);
  EXPECT_EQ(w.string_tables()[1].name, "de");
  EXPECT_EQ(w.string_tables()[2].name, "");
  ASSERT_EQ(w.create_string_tables(2, nullptr), 0);
  EXPECT_EQ(w.string_tables()[0].name, "default");

  w.reserve_extension_uris(1);
  EXPECT_EQ(w.add_extension_uri("extension://velmora"), 0);
  EXPECT_EQ(w.add_extension_uri("urn:second"), UA_EBADOUTOFRESOURCE);
  EXPECT_EQ(w.find_extension_uri("extension://velmora"), 0);
  EXPECT_EQ(w.find_extension_uri("urn:second"), -1);

  test::TempDir dir;
  EXPECT_EQ(w.open((dir / "missing" / "x.bin").string().c_str()), UA_EBAD);
  EXPECT_FALSE(w.is_open());
  EXPECT_EQ(w.open(dir.path().string().c_str()), UA_EBAD);  // a folder
  // A device that takes no bytes: the header's write fails and the file is closed.
  if (std::filesystem::exists("/dev/full")) {
    EXPECT_EQ(w.open("/dev/full"), UA_EBAD);
    EXPECT_FALSE(w.is_open());
  }
}

}  // namespace
}  // namespace vos

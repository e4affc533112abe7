// Loads arbitrary bytes as a NodeSet document (or as the nodes of a fixed model) on top of a
// small namespace-0 model and runs the C generator on the result twice, as `vosgen -a -m`
// and as `vosgen -a -N`, into a scratch folder that is emptied after every input. The generated text is not looked at:
// the run must end without a crash, a hang or a sanitizer report.
//
// The full namespace-0 model takes about a tenth of a second to load even without the
// sanitizers, and the graph cannot be reset to it cheaply, so every input starts from the
// small stand-in below: a few hundred executions a second instead of a few.
#include <stdlib.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>

#include "diag/diag.h"
#include "tools/vospack/codegen/generator.h"
#include "tools/vospack/nstable.h"
#include "tools/vospack/uagraph.h"
#include "tools/vospack/xmlloader.h"
#include "uabase/encoder.h"

namespace {

namespace fs = std::filesystem;

// Reference types, folders, roles with default role permissions, the built-in data types,
// Structure, Enumeration, OptionSet and one structure of namespace 0 with its encoding.
constexpr std::string_view kNs0 = R"(<UANodeSet>
<Models><Model ModelUri="http://opcfoundation.org/UA/" Version="1.05.03" PublicationDate="2023-01-01T00:00:00Z">
<RolePermissions><RolePermission Permissions="1">i=15644</RolePermission><RolePermission Permissions="33">i=15656</RolePermission></RolePermissions>
</Model></Models>
<Aliases><Alias Alias="HasSubtype">i=45</Alias><Alias Alias="Organizes">i=35</Alias><Alias Alias="HasEncoding">i=38</Alias>
<Alias Alias="HasTypeDefinition">i=40</Alias><Alias Alias="Boolean">i=1</Alias><Alias Alias="UInt32">i=7</Alias>
<Alias Alias="String">i=12</Alias><Alias Alias="ByteString">i=15</Alias></Aliases>
<UAReferenceType NodeId="i=31" BrowseName="References" IsAbstract="true"><DisplayName>References</DisplayName></UAReferenceType>
<UAReferenceType NodeId="i=33" BrowseName="HierarchicalReferences" IsAbstract="true"><DisplayName>HierarchicalReferences</DisplayName><References><Reference ReferenceType="HasSubtype" IsForward="false">i=31</Reference></References></UAReferenceType>
<UAReferenceType NodeId="i=32" BrowseName="NonHierarchicalReferences" IsAbstract="true"><DisplayName>NonHierarchicalReferences</DisplayName><References><Reference ReferenceType="HasSubtype" IsForward="false">i=31</Reference></References></UAReferenceType>
<UAReferenceType NodeId="i=34" BrowseName="HasChild" IsAbstract="true"><DisplayName>HasChild</DisplayName><References><Reference ReferenceType="HasSubtype" IsForward="false">i=33</Reference></References></UAReferenceType>
<UAReferenceType NodeId="i=35" BrowseName="Organizes"><DisplayName>Organizes</DisplayName><References><Reference ReferenceType="HasSubtype" IsForward="false">i=33</Reference></References></UAReferenceType>
<UAReferenceType NodeId="i=38" BrowseName="HasEncoding"><DisplayName>HasEncoding</DisplayName><References><Reference ReferenceType="HasSubtype" IsForward="false">i=32</Reference></References></UAReferenceType>
<UAReferenceType NodeId="i=40" BrowseName="HasTypeDefinition"><DisplayName>HasTypeDefinition</DisplayName><References><Reference ReferenceType="HasSubtype" IsForward="false">i=32</Reference></References></UAReferenceType>
<UAReferenceType NodeId="i=45" BrowseName="HasSubtype"><DisplayName>HasSubtype</DisplayName><References><Reference ReferenceType="HasSubtype" IsForward="false">i=34</Reference></References></UAReferenceType>
<UAReferenceType NodeId="i=46" BrowseName="HasProperty"><DisplayName>HasProperty</DisplayName><References><Reference ReferenceType="HasSubtype" IsForward="false">i=34</Reference></References></UAReferenceType>
<UAReferenceType NodeId="i=47" BrowseName="HasComponent"><DisplayName>HasComponent</DisplayName><References><Reference ReferenceType="HasSubtype" IsForward="false">i=34</Reference></References></UAReferenceType>
<UAObject NodeId="i=84" BrowseName="Root"><DisplayName>Root</DisplayName></UAObject>
<UAObject NodeId="i=85" BrowseName="Objects"><DisplayName>Objects</DisplayName><References><Reference ReferenceType="Organizes" IsForward="false">i=84</Reference></References></UAObject>
<UAObjectType NodeId="i=58" BrowseName="BaseObjectType"><DisplayName>BaseObjectType</DisplayName></UAObjectType>
<UAObjectType NodeId="i=61" BrowseName="FolderType"><DisplayName>FolderType</DisplayName><References><Reference ReferenceType="HasSubtype" IsForward="false">i=58</Reference></References></UAObjectType>
<UAObjectType NodeId="i=15620" BrowseName="RoleType"><DisplayName>RoleType</DisplayName><References><Reference ReferenceType="HasSubtype" IsForward="false">i=58</Reference></References></UAObjectType>
<UAObject NodeId="i=15656" BrowseName="AuthenticatedUser"><DisplayName>AuthenticatedUser</DisplayName><References><Reference ReferenceType="HasTypeDefinition">i=15620</Reference></References></UAObject>
<UAObject NodeId="i=15644" BrowseName="Anonymous"><DisplayName>Anonymous</DisplayName><References><Reference ReferenceType="HasTypeDefinition">i=15620</Reference></References></UAObject>
<UAVariableType NodeId="i=62" BrowseName="BaseVariableType" IsAbstract="true"><DisplayName>BaseVariableType</DisplayName></UAVariableType>
<UAVariableType NodeId="i=63" BrowseName="BaseDataVariableType"><DisplayName>BaseDataVariableType</DisplayName><References><Reference ReferenceType="HasSubtype" IsForward="false">i=62</Reference></References></UAVariableType>
<UAVariableType NodeId="i=68" BrowseName="PropertyType"><DisplayName>PropertyType</DisplayName><References><Reference ReferenceType="HasSubtype" IsForward="false">i=62</Reference></References></UAVariableType>
<UADataType NodeId="i=24" BrowseName="BaseDataType" IsAbstract="true"><DisplayName>BaseDataType</DisplayName></UADataType>
<UADataType NodeId="i=1" BrowseName="Boolean"><DisplayName>Boolean</DisplayName><References><Reference ReferenceType="HasSubtype" IsForward="false">i=24</Reference></References></UADataType>
<UADataType NodeId="i=26" BrowseName="Number" IsAbstract="true"><DisplayName>Number</DisplayName><References><Reference ReferenceType="HasSubtype" IsForward="false">i=24</Reference></References></UADataType>
<UADataType NodeId="i=27" BrowseName="Integer" IsAbstract="true"><DisplayName>Integer</DisplayName><References><Reference ReferenceType="HasSubtype" IsForward="false">i=26</Reference></References></UADataType>
<UADataType NodeId="i=28" BrowseName="UInteger" IsAbstract="true"><DisplayName>UInteger</DisplayName><References><Reference ReferenceType="HasSubtype" IsForward="false">i=26</Reference></References></UADataType>
<UADataType NodeId="i=2" BrowseName="SByte"><DisplayName>SByte</DisplayName><References><Reference ReferenceType="HasSubtype" IsForward="false">i=27</Reference></References></UADataType>
<UADataType NodeId="i=3" BrowseName="Byte"><DisplayName>Byte</DisplayName><References><Reference ReferenceType="HasSubtype" IsForward="false">i=28</Reference></References></UADataType>
<UADataType NodeId="i=4" BrowseName="Int16"><DisplayName>Int16</DisplayName><References><Reference ReferenceType="HasSubtype" IsForward="false">i=27</Reference></References></UADataType>
<UADataType NodeId="i=5" BrowseName="UInt16"><DisplayName>UInt16</DisplayName><References><Reference ReferenceType="HasSubtype" IsForward="false">i=28</Reference></References></UADataType>
<UADataType NodeId="i=6" BrowseName="Int32"><DisplayName>Int32</DisplayName><References><Reference ReferenceType="HasSubtype" IsForward="false">i=27</Reference></References></UADataType>
<UADataType NodeId="i=7" BrowseName="UInt32"><DisplayName>UInt32</DisplayName><References><Reference ReferenceType="HasSubtype" IsForward="false">i=28</Reference></References></UADataType>
<UADataType NodeId="i=8" BrowseName="Int64"><DisplayName>Int64</DisplayName><References><Reference ReferenceType="HasSubtype" IsForward="false">i=27</Reference></References></UADataType>
<UADataType NodeId="i=9" BrowseName="UInt64"><DisplayName>UInt64</DisplayName><References><Reference ReferenceType="HasSubtype" IsForward="false">i=28</Reference></References></UADataType>
<UADataType NodeId="i=10" BrowseName="Float"><DisplayName>Float</DisplayName><References><Reference ReferenceType="HasSubtype" IsForward="false">i=26</Reference></References></UADataType>
<UADataType NodeId="i=11" BrowseName="Double"><DisplayName>Double</DisplayName><References><Reference ReferenceType="HasSubtype" IsForward="false">i=26</Reference></References></UADataType>
<UADataType NodeId="i=12" BrowseName="String"><DisplayName>String</DisplayName><References><Reference ReferenceType="HasSubtype" IsForward="false">i=24</Reference></References></UADataType>
<UADataType NodeId="i=13" BrowseName="DateTime"><DisplayName>DateTime</DisplayName><References><Reference ReferenceType="HasSubtype" IsForward="false">i=24</Reference></References></UADataType>
<UADataType NodeId="i=14" BrowseName="Guid"><DisplayName>Guid</DisplayName><References><Reference ReferenceType="HasSubtype" IsForward="false">i=24</Reference></References></UADataType>
<UADataType NodeId="i=15" BrowseName="ByteString"><DisplayName>ByteString</DisplayName><References><Reference ReferenceType="HasSubtype" IsForward="false">i=24</Reference></References></UADataType>
<UADataType NodeId="i=17" BrowseName="NodeId"><DisplayName>NodeId</DisplayName><References><Reference ReferenceType="HasSubtype" IsForward="false">i=24</Reference></References></UADataType>
<UADataType NodeId="i=19" BrowseName="StatusCode"><DisplayName>StatusCode</DisplayName><References><Reference ReferenceType="HasSubtype" IsForward="false">i=24</Reference></References></UADataType>
<UADataType NodeId="i=20" BrowseName="QualifiedName"><DisplayName>QualifiedName</DisplayName><References><Reference ReferenceType="HasSubtype" IsForward="false">i=24</Reference></References></UADataType>
<UADataType NodeId="i=21" BrowseName="LocalizedText"><DisplayName>LocalizedText</DisplayName><References><Reference ReferenceType="HasSubtype" IsForward="false">i=24</Reference></References></UADataType>
<UADataType NodeId="i=22" BrowseName="Structure" IsAbstract="true"><DisplayName>Structure</DisplayName><References><Reference ReferenceType="HasSubtype" IsForward="false">i=24</Reference></References></UADataType>
<UADataType NodeId="i=29" BrowseName="Enumeration" IsAbstract="true"><DisplayName>Enumeration</DisplayName><References><Reference ReferenceType="HasSubtype" IsForward="false">i=24</Reference></References></UADataType>
<UADataType NodeId="i=290" BrowseName="Duration"><DisplayName>Duration</DisplayName><References><Reference ReferenceType="HasSubtype" IsForward="false">i=11</Reference></References></UADataType>
<UADataType NodeId="i=12755" BrowseName="OptionSet" IsAbstract="true"><DisplayName>OptionSet</DisplayName><References><Reference ReferenceType="HasSubtype" IsForward="false">i=22</Reference></References>
<Definition Name="OptionSet"><Field Name="Value" DataType="ByteString"/><Field Name="ValidBits" DataType="ByteString"/></Definition></UADataType>
<UADataType NodeId="i=32001" BrowseName="SettingDataType"><DisplayName>SettingDataType</DisplayName><References><Reference ReferenceType="HasSubtype" IsForward="false">i=22</Reference><Reference ReferenceType="HasEncoding">i=32002</Reference></References>
<Definition Name="SettingDataType"><Field Name="IsDefault" DataType="Boolean"/><Field Name="ServerUri" DataType="String"/><Field Name="NodeID" DataType="UInt32"/></Definition></UADataType>
<UAObject NodeId="i=32002" BrowseName="Default Binary"><DisplayName>Default Binary</DisplayName></UAObject>
</UANodeSet>)";

// An input without a document element of its own is taken as the nodes of this model, so
// that most mutations reach the generator instead of ending in the model checks.
constexpr std::string_view kHead = R"(<UANodeSet>
<NamespaceUris><Uri>urn:fz</Uri></NamespaceUris>
<Models><Model ModelUri="urn:fz" Version="1.0.0" PublicationDate="2024-01-01T00:00:00Z"><RequiredModel ModelUri="http://opcfoundation.org/UA/" Version="1.05.03" PublicationDate="2023-01-01T00:00:00Z"/></Model></Models>
<Aliases><Alias Alias="HasSubtype">i=45</Alias><Alias Alias="HasEncoding">i=38</Alias><Alias Alias="HasComponent">i=47</Alias><Alias Alias="HasProperty">i=46</Alias><Alias Alias="Organizes">i=35</Alias><Alias Alias="HasTypeDefinition">i=40</Alias><Alias Alias="Int32">i=6</Alias><Alias Alias="String">i=12</Alias><Alias Alias="Double">i=11</Alias></Aliases>
)";
constexpr std::string_view kTail = "</UANodeSet>\n";

// The scratch folder of this process, made once (in /dev/shm where it exists).
const fs::path& scratch() {
  static const fs::path dir = [] {
    std::string pattern = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : fs::temp_directory_path();
    pattern += "/codegen_fuzz.XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) __builtin_trap();
    return fs::path(pattern);
  }();
  return dir;
}

// Registered once the folder's path exists, so that it runs before the path is destroyed.
void remove_scratch() {
  std::error_code ec;
  fs::remove_all(scratch(), ec);
}

void generate(vos::uagraph& graph, vos::nstable& namespaces, bool types_only) {
  const fs::path out = scratch() / "out";
  vos::codegen_settings settings;
  settings.output_dir = out.string();
  settings.options.types_only = types_only;
  settings.provider_skeleton = !types_only;
  vos::codegen_generate(graph, namespaces, settings);
  std::error_code ec;
  fs::remove_all(out, ec);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  vos::diag_set_verbosity(0);
  vos::ua_encoder_set_max_call_depth(10);
  vos::ua_encoder_init();
  scratch();
  std::atexit(remove_scratch);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  vos::nstable namespaces;
  vos::uagraph graph;
  vos::xmlloader loader(graph, namespaces);
  if (loader.load_nodeset_buffer(kNs0, "ns0.xml") != 0) __builtin_trap();
  std::string_view text(reinterpret_cast<const char*>(data), size);
  std::string wrapped;
  if (text.find("<UANodeSet") == std::string_view::npos) {
    wrapped.reserve(kHead.size() + size + kTail.size());
    wrapped.append(kHead).append(text).append(kTail);
    text = wrapped;
  }
  if (loader.load_nodeset_buffer(text, "fuzz.xml") != 0) return 0;
  if (namespaces.select_all() != 0) return 0;
  generate(graph, namespaces, false);
  generate(graph, namespaces, true);
  return 0;
}

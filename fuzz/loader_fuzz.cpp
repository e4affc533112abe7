// Loads arbitrary bytes as a NodeSet document after a small base model, into a fresh graph
// and namespace table for every input, and prints the address space of the result.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string_view>

#include "diag/diag.h"
#include "tools/vospack/addrspace_print.h"
#include "tools/vospack/nstable.h"
#include "tools/vospack/uagraph.h"
#include "tools/vospack/xmlloader.h"

namespace {

// Reference types, Root and Objects, and two data types: enough for references, aliases
// and definitions of the input to meet something.
constexpr std::string_view kBase = R"(<UANodeSet>
<Models><Model ModelUri="http://opcfoundation.org/UA/" Version="1.05.03" PublicationDate="2024-01-01T00:00:00Z"/></Models>
<Aliases><Alias Alias="HasSubtype">i=45</Alias></Aliases>
<UAReferenceType NodeId="i=31" BrowseName="References" IsAbstract="true"><DisplayName>References</DisplayName></UAReferenceType>
<UAReferenceType NodeId="i=33" BrowseName="HierarchicalReferences"><DisplayName>H</DisplayName><References><Reference ReferenceType="HasSubtype" IsForward="false">i=31</Reference></References></UAReferenceType>
<UAReferenceType NodeId="i=45" BrowseName="HasSubtype"><DisplayName>HasSubtype</DisplayName><References><Reference ReferenceType="HasSubtype" IsForward="false">i=33</Reference></References></UAReferenceType>
<UAReferenceType NodeId="i=35" BrowseName="Organizes"><DisplayName>Organizes</DisplayName><References><Reference ReferenceType="HasSubtype" IsForward="false">i=33</Reference></References></UAReferenceType>
<UAReferenceType NodeId="i=47" BrowseName="HasComponent"><DisplayName>HasComponent</DisplayName><References><Reference ReferenceType="HasSubtype" IsForward="false">i=33</Reference></References></UAReferenceType>
<UAReferenceType NodeId="i=38" BrowseName="HasEncoding"><DisplayName>HasEncoding</DisplayName><References><Reference ReferenceType="HasSubtype" IsForward="false">i=31</Reference></References></UAReferenceType>
<UAObject NodeId="i=84" BrowseName="Root"><DisplayName>Root</DisplayName></UAObject>
<UAObject NodeId="i=85" BrowseName="Objects"><DisplayName>Objects</DisplayName><References><Reference ReferenceType="i=35" IsForward="false">i=84</Reference></References></UAObject>
<UADataType NodeId="i=24" BrowseName="BaseDataType"><DisplayName>BaseDataType</DisplayName></UADataType>
<UADataType NodeId="i=22" BrowseName="Structure"><DisplayName>Structure</DisplayName><References><Reference ReferenceType="HasSubtype" IsForward="false">i=24</Reference></References></UADataType>
<UADataType NodeId="i=29" BrowseName="Enumeration"><DisplayName>Enumeration</DisplayName><References><Reference ReferenceType="HasSubtype" IsForward="false">i=24</Reference></References></UADataType>
</UANodeSet>)";

std::FILE* sink() {
  static std::FILE* f = std::fopen("/dev/null", "w");
  return f;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  vos::diag_set_verbosity(0);
  vos::nstable namespaces;
  vos::uagraph graph;
  vos::xmlloader loader(graph, namespaces);
  if (loader.load_nodeset_buffer(kBase, "base.xml") != 0) __builtin_trap();
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  if (loader.load_nodeset_buffer(text, "fuzz.xml") == 0 && sink() != nullptr) {
    vos::addrspace_print(graph, sink());
  }
  return 0;
}

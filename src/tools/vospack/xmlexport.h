// NodeSet XML export: writes the loaded graph back as one NodeSet document, the reverse of
// the loader, with the same element and attribute names.
//
// The document lists every namespace of the table from index 1 on, in table order, so that
// the namespace indices of the run are the document's own indices; one Model per namespace
// that came with a model declaration, in table order (namespace 0 first, so that the
// document loads on its own); then every node of the graph in node order, each with its
// forward references.
//
// When namespaces are selected for export (-i, -u, -a), the document is that model alone:
// only the nodes of the selected namespaces and only their Models, and a node also carries
// the references that come from nodes left out (IsForward="false"). It then loads after its
// required models, like the file it was made from.
//
// Values are written in the types schema's forms: scalars, ListOf arrays, matrices, and
// extension objects with their XML encoding id and a body (decoded structures field by
// field, binary bodies as ByteString). Texts are escaped for XML; control characters that
// XML cannot carry become U+FFFD.
//
// Output is buffered in large blocks. Errors are reported on stderr under the name of the
// operation that met them.
#pragma once

namespace vos {

class uagraph;
class nstable;

struct xmlexport_options {
  // Two blanks per nesting depth before each element line; off writes every line flush left.
  bool indent = true;
};

// Writes the document to `path` (created or truncated). Returns 0; UA_EBADINVALIDARGUMENT
// for no path; UA_EBAD when the file cannot be created or written; or the failure of a node
// writer (unsupported value type, DateTime out of range, extension object without a known
// XML encoding), after which the document stops there, without its end tag.
int xmlexport_write(const uagraph& graph, const nstable& namespaces, const char* path,
                    const xmlexport_options& options = {});

}  // namespace vos

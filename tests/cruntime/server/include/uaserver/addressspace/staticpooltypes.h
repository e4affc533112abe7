/* The records of a compiled-in address space and the constant pools that hold them.
 *
 * Nodes name each other across namespaces by handle: namespace index << 24 | the node's
 * index in that namespace's node pool. Strings are indexes into the namespace's string
 * table (0 is the empty string, "none").
 *
 * The references of a namespace form one pool; a node reaches its forward references
 * through fwd_ref_idx and the next_fwd links, its inverse references through rev_ref_idx
 * and the next_rev links. */
#ifndef UASERVER_ADDRESSSPACE_STATICPOOLTYPES_H
#define UASERVER_ADDRESSSPACE_STATICPOOLTYPES_H

#include <memory/objectpool.h>
#include <platform/platform.h>
#include <uaserver/addressspace/addressspace.h>
#include <uaserver/config.h>
#include <uaserver/valuestore/staticstore.h>

UA_BEGIN_EXTERN_C

/* NodeId of a node within its namespace. type 0: numeric, identifier is the number;
 * 1: string, identifier indexes the string table; 2: GUID, identifier indexes the GUID
 * pool; 3: opaque, identifier indexes the byte-string pool. */
struct ua_node_id {
    uint8_t type;
    uint32_t identifier;
};

#if UA_AUTHORIZATION_BACKEND == UA_AUTHORIZATION_BACKEND_ROLEPERMISSIONS
/* The node's permissions: 0 for none of its own, else the index of its permission set in
 * the registered permission tables + 10. */
struct ua_node_permctx {
    uint32_t perm_idx;
};
#endif

/* Node classes (the NodeClass bits). */
#define UA_NODECLASS_OBJECT 1
#define UA_NODECLASS_VARIABLE 2
#define UA_NODECLASS_METHOD 4
#define UA_NODECLASS_OBJECTTYPE 8
#define UA_NODECLASS_VARIABLETYPE 16
#define UA_NODECLASS_REFERENCETYPE 32
#define UA_NODECLASS_DATATYPE 64
#define UA_NODECLASS_VIEW 128

/* Bits of ua_node.flags; the EventNotifier of Objects and Views is held in bits 8 to 15. */
#define UA_NODE_FLAG_ABSTRACT 0x01u
#define UA_NODE_FLAG_SYMMETRIC 0x02u
#define UA_NODE_FLAG_EXECUTABLE 0x04u
#define UA_NODE_FLAG_CONTAINSNOLOOPS 0x08u
#define UA_NODE_EVENTNOTIFIER_SHIFT 8

/* A node of any class.
 * rev_ref_idx: -1 without inverse references in this namespace's pool; else the index of
 *   the first one << 16 | ((nsidx * 2 + 1) & 0xFFFF). A placeholder node holds instead its
 *   number << 16 | ((nsidx * 2) & 0xFFFE) (an even low half). 32 signed bits, so the index
 *   or number is at most 32767.
 * fwd_ref_idx: -1 without forward references; else the index of the first one << 1 | 1,
 *   in 32 signed bits (index at most 2^30 - 1).
 * dataindex: Variable, VariableType, Method: the index in the class's pool; DataType: the
 *   index of its definition in the definition store or -1; ReferenceType: the string index
 *   of its InverseName (0: none); other classes -1.
 * The narrow members hold what their attribute holds: browsenamens a namespace index
 * (16 bits), nodeclass one node class bit, flags the bits above with the 8-bit
 * EventNotifier, accessrestrictions the 16-bit AccessRestrictions. String ids and dataindex
 * are indexes into tables of any size, so 32 bits. */
struct ua_node {
    struct ua_node_id id;
    int32_t rev_ref_idx;
    int32_t fwd_ref_idx;
    uint32_t displaynameid;
    uint32_t browsenameid;
    uint16_t browsenamens;
#ifdef UA_SUPPORT_DESCRIPTION
    uint32_t descriptionid;
#endif
    int32_t dataindex;
    uint8_t nodeclass;
    uint16_t flags;
    uint16_t accessrestrictions;
#if UA_AUTHORIZATION_BACKEND == UA_AUTHORIZATION_BACKEND_ROLEPERMISSIONS
    struct ua_node_permctx perm_ctx;
#endif
};

/* The Variable part of a node. datatype is a handle (0xFFFFFFFF for none); dimensionsindex
 * indexes the dimension pool (-1 for none); the value is element valueindex of the value
 * store with index storeindex (-1 / -1 without a value). */
struct ua_variable {
    uint32_t datatype;
    int32_t valuerank;
    uint32_t num_dimensions;
    int32_t dimensionsindex;
    int32_t minimum_sampling_interval; /* milliseconds */
    uint8_t accesslevel;
#ifdef UA_SUPPORT_HISTORIZING
    uint8_t historizing;
#endif
    int32_t storeindex;
    int32_t valueindex;
};

/* The VariableType part of a node. */
struct ua_variabletype {
    uint32_t datatype;
    int32_t valuerank;
    uint32_t num_dimensions;
    int32_t dimensionsindex;
    uint8_t is_abstract;
};

/* The Method part of a node: the handle of its method declaration (0xFFFFFFFF for none)
 * and its own index in the method pool. */
struct ua_method {
    uint32_t methoddeclaration;
    uint32_t methodindex;
};

/* A reference: source, target and reference type as handles; next_fwd links the
 * references of the same source, next_rev those of the same target (-1 at the end). */
struct ua_reference {
    uint32_t src;
    uint32_t dst;
    uint32_t reftype;
    int32_t next_rev;
    int32_t next_fwd;
};

/* The constant pools of a compiled-in address space. */
struct mem_objectpool_node {
    MEM_OBJECTPOOL_HEADER
    struct ua_node data[];
};
struct mem_objectpool_variable {
    MEM_OBJECTPOOL_HEADER
    struct ua_variable data[];
};
struct mem_objectpool_variabletype {
    MEM_OBJECTPOOL_HEADER
    struct ua_variabletype data[];
};
struct mem_objectpool_method {
    MEM_OBJECTPOOL_HEADER
    struct ua_method data[];
};
struct mem_objectpool_reference {
    MEM_OBJECTPOOL_HEADER
    struct ua_reference data[];
};
/* ArrayDimensions of variables and variable types, one flat list; equal lists are shared. */
struct mem_objectpool_dimension {
    MEM_OBJECTPOOL_HEADER
    uint32_t data[];
};

/* How the runtime finds a node of the namespace by its NodeId. */
enum ua_addressspace_index {
    UA_INDEX_HASHTABLE = 0, /* hash table, linear probing */
    UA_INDEX_HASHTABLEQP = 1 /* hash table, quadratic probing */
};

/* Registers the compiled-in address space of the namespace `uri` at index `nsidx`.
 * nodes, strings, guids and bytestrings are pools of struct ua_node, struct ua_conststring,
 * struct ua_guid and struct ua_staticstore_element (the opaque identifiers) handed over
 * through their common header; guids and bytestrings are NULL when the namespace has no
 * such identifiers. datatypedefinitions holds the encoded definitions of the DataType
 * nodes. num_placeholders counts the placeholder nodes. Returns the namespace index or a
 * negative error. */
int ua_addressspace_register_static(const char *uri, unsigned int hashtable_size,
                                    const struct mem_objectpool_static *nodes,
                                    const struct mem_objectpool_variable *variables,
                                    const struct mem_objectpool_variabletype *variabletypes,
                                    const struct mem_objectpool_method *methods,
                                    const struct mem_objectpool_reference *references,
                                    const struct mem_objectpool_static *strings,
                                    const char *const *stringtable,
                                    const struct mem_objectpool_static *guids,
                                    const struct mem_objectpool_dimension *dimensions,
                                    struct ua_staticstore *datatypedefinitions,
                                    const struct mem_objectpool_static *bytestrings,
                                    uint16_t nsidx, int num_placeholders,
                                    enum ua_addressspace_index index_type);

UA_END_EXTERN_C

#endif /* UASERVER_ADDRESSSPACE_STATICPOOLTYPES_H */

/* The type dictionary: how a structure is laid out (one field row per member), and the
 * rows of a namespace's constant type table. */
#ifndef UABASE_DICT_H
#define UABASE_DICT_H

#include <platform/platform.h>

UA_BEGIN_EXTERN_C

/* Rank bits of a field row: scalar or array, and whether the field's type is a
 * namespace-0 type. */
#define UA_DICT_RANK_SCALAR 0x00u
#define UA_DICT_RANK_ARRAY 0x01u
#define UA_DICT_RANK_SCALAR_NS0 0x02u
#define UA_DICT_RANK_ARRAY_NS0 0x03u

/* Structure bits: the field is optional (its presence is a bit of the mask member), or
 * the row describes a union. */
#define UA_DICT_STRUCT_OPTIONAL 0x04u
#define UA_DICT_STRUCT_UNION 0x08u

/* How a field's value is handled: a built-in of fixed size, a built-in of variable size,
 * a structure, an enumeration (32 bits), an integer option set, a DiagnosticInfo. */
#define UA_DICT_IMPL_FUNC_FIXED 0x10u
#define UA_DICT_IMPL_FUNC 0x20u
#define UA_DICT_IMPL_STRUCT 0x30u
#define UA_DICT_IMPL_ENUM_FIXED 0x40u
#define UA_DICT_IMPL_OSET_FIXED 0x50u
#define UA_DICT_IMPL_DIAGNOSTICINFO 0x60u

/* Names in table rows; each macro supplies its own trailing comma. */
#define UA_DICT_NAME(name) name,
#define UA_DICT_NAME_LEN(name) name, sizeof(name) - 1,

#define ua_offsetof(type, member) offsetof(type, member)

/* One member of a structure. */
struct ua_dict_field {
    const char *name;
    uint16_t name_len;
    uint32_t flags;  /* UA_DICT_RANK_* | UA_DICT_STRUCT_* | UA_DICT_IMPL_* */
    uint32_t offset; /* of the member in its structure */
    uint32_t type;   /* type identifier of the member's type */
};

/* A row of a namespace's structure table. */
struct ua_dict_structure {
    const char *name;
    const struct ua_dict_field *fields;
    uint32_t binary_encoding_id; /* numeric identifier of the Default Binary encoding */
    uint32_t type_id;            /* numeric identifier of the data type */
    uint16_t num_fields;
    uint32_t size; /* of the C structure */
};

/* A row of a namespace's table of integer types: enumerations and integer option sets. */
struct ua_dict_inttype {
    const char *name;
    uint32_t type_id;      /* numeric identifier of the data type */
    uint32_t size;         /* of the C integer type */
    uint8_t variant_type;  /* UA_VT_* of the integer type */
};

UA_END_EXTERN_C

#endif /* UABASE_DICT_H */

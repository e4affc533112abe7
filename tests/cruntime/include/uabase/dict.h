/* The type dictionary: how a structure is laid out (one field row per member), and the
 * rows of a namespace's constant type table. */
#ifndef UABASE_DICT_H
#define UABASE_DICT_H

#include <platform/platform.h>

UA_BEGIN_EXTERN_C

/* The flags byte of a field row.
 * Bits 0 to 2: how the value is handled (implementation kind, 1 to 6; 0 and 7 are invalid). */
#define UA_DICT_IMPL_FUNC 0x01u         /* built-in type of variable size */
#define UA_DICT_IMPL_FUNC_FIXED 0x02u   /* built-in type of fixed size */
#define UA_DICT_IMPL_ENUM_FIXED 0x03u   /* enumeration, encoded as Int32 */
#define UA_DICT_IMPL_OSET_FIXED 0x04u   /* option set over an unsigned integer */
#define UA_DICT_IMPL_STRUCT 0x05u       /* nested structure of variable size */
#define UA_DICT_IMPL_STRUCT_FIXED 0x06u /* nested structure whose members are all fixed */
/* DiagnosticInfo is a built-in of variable size like any other. */
#define UA_DICT_IMPL_DIAGNOSTICINFO UA_DICT_IMPL_FUNC
#define UA_DICT_IMPL_MASK 0x07u

/* Bit 3: the type is looked up in namespace 0's table instead of the structure's own.
 * Bits 4 and 5: rank, 1 scalar, 2 array (3, a matrix, is refused). */
#define UA_DICT_NS0 0x08u
#define UA_DICT_RANK_SCALAR 0x10u
#define UA_DICT_RANK_SCALAR_NS0 0x18u
#define UA_DICT_RANK_ARRAY 0x20u
#define UA_DICT_RANK_ARRAY_NS0 0x28u
#define UA_DICT_RANK_MASK 0x30u

/* Bit 6: on the first row, the structure has optional fields and the row is its UInt32 mask;
 * on any other row, the field is optional (the next bit of the mask tells its presence).
 * Bit 7: on the first row, the structure is a union and the row is its UInt32 switch. */
#define UA_DICT_STRUCT_OPTIONAL 0x40u
#define UA_DICT_STRUCT_UNION 0x80u

/* Names in table rows; each macro supplies its own trailing comma. */
#define UA_DICT_NAME(name) name,
#define UA_DICT_NAME_LEN(name) name, sizeof(name) - 1,

#define ua_offsetof(type, member) offsetof(type, member)

/* One member of a structure. */
struct ua_dict_field {
    const char *name;
    uint8_t name_len; /* a member name is at most 255 bytes long */
    uint8_t flags;    /* UA_DICT_RANK_* | UA_DICT_STRUCT_* | UA_DICT_IMPL_* */
    uint16_t offset;  /* of the member in its structure: a structure spans at most 64 KiB */
    uint32_t type;    /* type index in the low 16 bits, the index of its table above */
};

/* A row of a namespace's structure table. */
struct ua_dict_structure {
    const char *name;
    const struct ua_dict_field *fields;
    uint32_t binary_encoding_id; /* numeric identifier of the Default Binary encoding */
    uint32_t type_id;            /* numeric identifier of the data type */
    uint16_t num_fields; /* rows of `fields`, the mask or switch row included */
    uint32_t size;       /* of the C structure, the step through arrays of it */
};

/* A row of a namespace's table of integer types: enumerations and integer option sets. */
struct ua_dict_inttype {
    const char *name;
    uint32_t type_id;      /* numeric identifier of the data type */
    uint32_t size;      /* of the C integer type */
    uint8_t base_type;  /* built-in type index of the encoded integer (UA_VT_*) */
};

UA_END_EXTERN_C

#endif /* UABASE_DICT_H */

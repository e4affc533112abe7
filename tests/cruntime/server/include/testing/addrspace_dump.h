/* Test hook of the test runtime: prints every registered namespace as the runtime sees it. */
#ifndef TESTING_ADDRSPACE_DUMP_H
#define TESTING_ADDRSPACE_DUMP_H

#include <stdio.h>

#include <platform/platform.h>

UA_BEGIN_EXTERN_C

/* Walks the pools of every registered namespace in index order and prints, one
 * tab-separated record a line: the namespace, its nodes with their attributes, forward and
 * inverse references (both chains, resolved to NodeIds), role permissions, encoded values
 * and definitions. Anything the tables get wrong (an index out of range, a chain that
 * loops or holds a foreign reference, a handle of no registered node) prints an "error"
 * record. Returns 0, or 1 when an error record was printed. */
int ua_test_dump_addressspace(FILE *out);

UA_END_EXTERN_C

#endif /* TESTING_ADDRSPACE_DUMP_H */

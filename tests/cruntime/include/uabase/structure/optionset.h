/* OptionSet over byte strings: the bits in `value`, and in `valid_bits` which of them
 * carry a value. Its operations report bits as bool. */
#ifndef UABASE_STRUCTURE_OPTIONSET_H
#define UABASE_STRUCTURE_OPTIONSET_H

#include <stdbool.h>

#include <platform/platform.h>
#include <uabase/bytestring.h>

struct ua_optionset {
    struct ua_bytestring value;
    struct ua_bytestring valid_bits;
};

#endif /* UABASE_STRUCTURE_OPTIONSET_H */

#include "tools/vospack/utf8_watch.h"

#include "diag/diag.h"

namespace vos {

void utf8_watch::report(const xml_node* node) {
  reported_ = true;
  diag_warning_at(k_warning_invalid_utf8, VOS_HERE, "xmlloader_check_utf8", node,
                  "text is not valid UTF-8 and is kept as it is; later texts of this file "
                  "are not checked\n");
}

}  // namespace vos

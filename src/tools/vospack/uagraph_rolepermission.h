// One role-permission entry: a role and the permission bits it has on a node (or, as a model
// default, on every node of a namespace).
#pragma once

#include <cstdint>

#include "uabase/types.h"

namespace vos {

struct uagraph_rolepermission {
  ua_nodeid role;
  uint32_t Permissions = 0;
  friend bool operator==(const uagraph_rolepermission&, const uagraph_rolepermission&) = default;
};

}  // namespace vos

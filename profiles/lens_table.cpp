#include "profiles/lens_table.h"

namespace ortavel::profiles {

TableLookup findTableProfile(const TableQuery &) {
  return {std::nullopt, "no lens table is built into this module"};
}

const char *lensTableAttribution() {
  return "";
}

}  // namespace ortavel::profiles

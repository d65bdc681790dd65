#include "emulator/suites/unimplemented_suite.h"

namespace hostemu {
namespace {

SPErr unimplementedEntry() {
  return kSPUnimplementedError;
}

}  // namespace

UnimplementedSuite makeUnimplementedSuite() {
  UnimplementedSuite suite{};
  for (auto &entry : suite.entries) entry = &unimplementedEntry;
  return suite;
}

}  // namespace hostemu

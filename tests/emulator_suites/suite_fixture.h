// A suite host over a small document, with handles made here (a master
// pointer to a copy of the bytes) so the suites can be tried on their own.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "emulator/document.h"
#include "emulator/suites/suite_host.h"

namespace hostemu::testing {

struct TestHandle {
  std::vector<char> bytes;
  char *master = nullptr;
};

class SuiteFixture : public ::testing::Test {
 protected:
  void makeHost() {
    SuiteEnvironment env;
    env.document = &doc;
    env.newHandle = [this](std::span<const std::uint8_t> bytes) -> Handle {
      auto h = std::make_unique<TestHandle>();
      h->bytes.assign(bytes.begin(), bytes.end());
      h->master = h->bytes.data();
      handles.push_back(std::move(h));
      return &handles.back()->master;
    };
    env.log = [this](std::string line) { lines.push_back(std::move(line)); };
    host = std::make_unique<SuiteHost>(std::move(env));
  }

  // A fresh host over `doc`, serving the C callbacks until the next call or
  // the end of the test.
  void activate() {
    guard.reset();
    makeHost();
    guard.reset(new SuiteHost::Activation(host->activate()));
  }
  // A one-plane 8-bit grey document.
  void grey(int w, int h, std::vector<std::uint8_t> samples) {
    doc = Document{};
    doc.width = w;
    doc.height = h;
    doc.imageMode = plugInModeGrayScale;
    doc.planes = {plane8(std::move(samples))};
  }

  // Acquires a suite through the basic suite of the active host.
  template <typename Suite>
  const Suite *acquire(const char *name, int32 version, SPErr *status = nullptr) {
    const void *table = nullptr;
    const SPErr err = host->basicSuite()->AcquireSuite(name, version, &table);
    if (status) *status = err;
    return static_cast<const Suite *>(table);
  }

  // A plane of 8-bit samples.
  static Plane plane8(const std::vector<std::uint8_t> &samples, bool targeted = true) {
    return Plane{Samples(samples.begin(), samples.end()), targeted};
  }
  // A plane of 16- or 32-bit samples in native byte order.
  template <typename T>
  static Plane planeOf(const std::vector<T> &samples) {
    Plane p;
    p.samples.resize(samples.size() * sizeof(T));
    std::memcpy(p.samples.data(), samples.data(), p.samples.size());
    return p;
  }

  Document doc;
  std::vector<std::unique_ptr<TestHandle>> handles;
  std::vector<std::string> lines;
  std::unique_ptr<SuiteHost> host;
  std::unique_ptr<SuiteHost::Activation> guard;  // declared last: released first
};

}  // namespace hostemu::testing

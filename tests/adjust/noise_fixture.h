#pragma once
// A session on the simulated instrument with its Gaussian noise on, and the noise folder
// emptied, for the acquisition and the noise tests.

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "adjust/acquire.h"
#include "instrument/session_fixture.h"
#include "support/temp_dir.h"

namespace ovn::test {

class NoiseTest : public SessionTest {
 protected:
  NoiseTest() { std::filesystem::remove_all(noise_folder()); }
  ~NoiseTest() override { std::filesystem::remove_all(noise_folder()); }

  // A KST at rest: zero at 2000 counts, Gaussian noise of `uvpv`, a seeded generator.
  void open_kst(double uvpv = 0.5) {
    open(SimFamily::Kst);
    sim.config.noise_uvpv = uvpv;
    sim.physics.zero_counts = 2000;
    port.clear_transcript();
    seams.log.lines.clear();
  }

  static std::string read_file(const std::string& path) { return TempDir::read(path).value_or(""); }
};

}  // namespace ovn::test

// Frames of a radar format drawn on the in-memory raster: every module as a
// new process has it, a batch plot, and no map background unless a test
// turns it on. restart() starts the next case of a table afresh.
#pragma once

#include <gtest/gtest.h>

#include <optional>

#include "batch_plot.h"
#include "zor/flag.h"
#include "zor/reset.h"

namespace zor::test {

class RadarFrameTest : public ::testing::Test {
 protected:
  void SetUp() override {
    zor::reset_all();
    batch_.emplace();
    FLAG_setplot(8, 0);
  }
  void TearDown() override {
    batch_.reset();
    zor::reset_all();
  }
  void restart() {
    TearDown();
    SetUp();
  }

  std::optional<BatchPlot> batch_;
};

}  // namespace zor::test

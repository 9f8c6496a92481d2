// The whole process state goes back to what a new process has.
#include <gtest/gtest.h>

#include "zor/cont.h"
#include "zor/dom.h"
#include "zor/flag.h"
#include "zor/map.h"
#include "zor/plt.h"
#include "zor/res.h"
#include "zor/reset.h"

TEST(ResetAll, EveryLayerStartsAfresh) {
  const int bar = CONT_get_bar();
  const std::string label = PLT_get_label(0, 0);
  FLAG_set(14, 33);
  FLAG_setplot(8, 0);
  RES_put("reset_probe", "1");
  Domain d;
  ASSERT_EQ(DOM_decode("ps,40,-100,50,50,0.1,0.1", &d), 1);
  MAP_domain(&d);
  CONT_set_bar(bar + 5);
  PLT_label_up_left("probe");

  zor::reset_all();

  EXPECT_EQ(FLAG_get(14), -9999);
  EXPECT_EQ(FLAG_getplot(8), 1);
  EXPECT_EQ(RES_get("reset_probe"), nullptr);
  EXPECT_EQ(MAP_get_proj(), -9999);
  EXPECT_EQ(CONT_get_bar(), bar);
  EXPECT_EQ(PLT_get_label(0, 0), label);
}

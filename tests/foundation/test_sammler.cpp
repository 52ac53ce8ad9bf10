#include "foundation/Sammler.h"
#include <gtest/gtest.h>
TEST(Sammler, DirectKind) { EXPECT_EQ(ferro::GetDirectKind("para"), ferro::dkpara); }

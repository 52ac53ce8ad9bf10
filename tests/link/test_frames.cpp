#include "link/CccHead.h"
#include <gtest/gtest.h>
TEST(Frames, Nak) { EXPECT_TRUE(ferro::CheckNAK(6)); }

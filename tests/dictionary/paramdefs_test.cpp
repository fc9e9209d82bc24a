#include <gtest/gtest.h>

#include "tarvex/dictionary/paramdefs.h"

TEST(ParamDefs, Placeholder) { SUCCEED(); }

#include <gtest/gtest.h>
TEST(Svec, Placeholder) {}

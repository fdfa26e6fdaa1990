correction_test(values/tst_nesting.cpp)

correction_test(simulator/tst_virtualwall.cpp)

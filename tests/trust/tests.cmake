correction_test(trust/tst_servicefaults.cpp)

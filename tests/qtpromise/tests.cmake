correction_test(qtpromise/tst_qpromise.cpp)
correction_test(qtpromise/tst_qpromise_threads.cpp)

correction_test(simulator/tst_pictures.cpp)
correction_test(simulator/tst_seams.cpp)
correction_test(simulator/tst_virtualwall.cpp)

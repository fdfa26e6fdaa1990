correction_test(qtpromise/tst_qpromise.cpp)
correction_test(qtpromise/tst_qpromise_applications.cpp)
correction_test(qtpromise/tst_qpromise_behaviour.cpp)
correction_test(qtpromise/tst_qpromise_threads.cpp)

# Again with Qt's own event dispatcher. One call of it may handle posted events and then sleep: a wake-up that a handler took is
# lost then.
foreach(name IN ITEMS tst_qpromise tst_qpromise_applications tst_qpromise_behaviour tst_qpromise_threads)
  correction_test_variant(${name} NO_GLIB "QT_NO_GLIB=1")
endforeach()

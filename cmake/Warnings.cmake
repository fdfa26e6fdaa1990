# Warnings and compile settings of this project's own code, never passed on to those who link it.
add_library(correction_warnings INTERFACE)
target_compile_options(correction_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wswitch-enum -Werror)
target_compile_options(correction_warnings INTERFACE $<$<CXX_COMPILER_ID:Clang>:
  -Wno-gnu-zero-variadic-macro-arguments # Qt's logging macros are called with no further argument
  -Wno-unused-private-field              # the grids keep a field that only copies read
>)
target_compile_definitions(correction_warnings INTERFACE
  QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_KEYWORDS QT_NO_FOREACH QT_STRICT_ITERATORS
  QT_NO_NARROWING_CONVERSIONS_IN_CONNECT QT_DEPRECATED_WARNINGS)

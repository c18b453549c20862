# Errors in the presets only: a newer compiler elsewhere does not stop a build. Options are filled by
# designated initialisers; a member left out keeps its default.
add_compile_options(-Wall -Wextra -Wpedantic -Wnon-virtual-dtor -Woverloaded-virtual -Wconversion
                    -Wno-sign-conversion -Wno-missing-field-initializers)
# A constructor's parameter may bear its field's name; a local may not hide another local.
add_compile_options($<IF:$<CXX_COMPILER_ID:GNU>,-Wshadow=local,-Wshadow>)
# GCC 12 warns of overlapping copies inside its own std::string where there are none.
add_compile_options($<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)

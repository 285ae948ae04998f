# Warning and sanitizer flags shared by every target of the project.
add_library(rastrum_compiler_options INTERFACE)
# GCC fuses a * b + c into one rounding by default in C++ wherever the target
# has fused multiply-add (as the kernels' AVX-512 paths do); the kernels must
# round every product and sum on its own.
target_compile_options(rastrum_compiler_options INTERFACE -ffp-contract=off)
target_compile_options(rastrum_compiler_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion
  -Wnon-virtual-dtor -Wold-style-cast -Woverloaded-virtual)
# GCC 12 at -O3 reports -Wrestrict for std::string concatenation that cannot
# overlap (GCC bug 105651, fixed in GCC 13); Release builds turn it off there.
target_compile_options(rastrum_compiler_options INTERFACE
  $<$<AND:$<CXX_COMPILER_ID:GNU>,$<VERSION_LESS:$<CXX_COMPILER_VERSION>,13>,$<CONFIG:Release>>:-Wno-restrict>)
if(RASTRUM_WARNINGS_AS_ERRORS)
  target_compile_options(rastrum_compiler_options INTERFACE -Werror)
endif()

# GCC's "undefined" leaves out float-cast-overflow: a NaN or an out-of-range
# value converted to an integer type.
if(RASTRUM_SANITIZE)
  add_compile_options(-fsanitize=address,undefined,float-cast-overflow -fno-sanitize-recover=all
                      -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined,float-cast-overflow)
endif()

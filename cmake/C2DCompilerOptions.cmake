# Warning, floating-point and sanitizer flags for every target of the project, kept in one place.

add_library(c2d_options INTERFACE)
target_compile_options(c2d_options INTERFACE
  $<$<CXX_COMPILER_ID:GNU,Clang>:-Wall -Wextra -Wshadow -Wnon-virtual-dtor -Wpointer-arith>)
# No fused multiply-add: blending, cubic weights and grey mixing must give the same
# bits whatever CPU a build targets.
target_compile_options(c2d_options INTERFACE $<$<CXX_COMPILER_ID:GNU,Clang>:-ffp-contract=off>)
if(C2D_WERROR)
  target_compile_options(c2d_options INTERFACE $<$<CXX_COMPILER_ID:GNU,Clang>:-Werror>)
endif()

if(C2D_SANITIZE)
  set(C2D_SANITIZER_FLAGS -fsanitize=address,undefined -fno-sanitize-recover=all
      -fno-omit-frame-pointer)
  add_compile_options(${C2D_SANITIZER_FLAGS})
  add_link_options(-fsanitize=address,undefined)
endif()

# Fuzzing instruments everything for coverage and checks it with both sanitizers; only
# the harnesses link libFuzzer's main.
if(C2D_FUZZ)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "C2D_FUZZ needs clang (CXX=clang++)")
  endif()
  add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=all
                      -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()

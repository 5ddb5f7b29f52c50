# Build settings for KOREL_BUILD_FUZZ, read before cmake/KorelBuild.cmake so that they
# reach every target: libFuzzer's coverage instrumentation, ASan and UBSan.
if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  message(FATAL_ERROR "KOREL_BUILD_FUZZ needs clang: configure with CC=clang CXX=clang++.")
endif()

add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=all
                    -fno-omit-frame-pointer)
add_link_options(-fsanitize=address,undefined)
# Through the project's own switch as well: shared libraries then leave the sanitizer
# runtime to the program that loads them.
set(KOREL_SANITIZE address,undefined)

add_compile_options(-Wall -Wextra -Wpedantic -Werror -Wshadow -Wconversion -Wsign-conversion
  -Wnon-virtual-dtor -Woverloaded-virtual -Wold-style-cast -Wcast-qual -Wformat=2
  -Wimplicit-fallthrough -Wundef)
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  # GCC 12 reports null dereferences inside its own inlined standard library.
  add_compile_options(-Wnull-dereference)
  # The lock order at the members is checked where the compiler can.
  add_compile_options(-Wthread-safety)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # GCC 12 reports these inside its own inlined standard library when sanitizers are on.
  add_compile_options(-Wno-restrict)
endif()
if(QUILLBROOK_SANITIZE)
  add_compile_options(-fsanitize=${QUILLBROOK_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${QUILLBROOK_SANITIZE})
endif()
if(QUILLBROOK_FUZZ)
  # Coverage of the libraries too: without it libFuzzer is blind to all but the target's own file.
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()

# Compiler settings shared by every target: the warnings, the hardening and the sanitizer of the build.

add_library(corvane_flags INTERFACE)

target_compile_options(corvane_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror
  -fstack-protector-strong -fno-strict-overflow)
target_compile_definitions(corvane_flags INTERFACE _GNU_SOURCE)

if(CMAKE_BUILD_TYPE STREQUAL "Release")
  target_compile_definitions(corvane_flags INTERFACE _FORTIFY_SOURCE=3)
  target_compile_options(corvane_flags INTERFACE -fstack-clash-protection -fcf-protection)
  target_link_options(corvane_flags INTERFACE -Wl,-z,relro,-z,now)
else()
  target_compile_definitions(corvane_flags INTERFACE _GLIBCXX_ASSERTIONS)
endif()

if(CORVANE_SANITIZE)
  set(sanitize "-fsanitize=${CORVANE_SANITIZE}")
  if(CORVANE_SANITIZE MATCHES "undefined")
    # A float that does not fit its integer is not part of "undefined", yet page numbers can be any float.
    list(APPEND sanitize -fsanitize=float-cast-overflow -fno-sanitize-recover=all)
  endif()
  target_compile_options(corvane_flags INTERFACE ${sanitize} -fno-omit-frame-pointer)
  target_link_options(corvane_flags INTERFACE ${sanitize})
endif()

# The runtime and the IPC library report memory exhaustion by result and never throw.
add_library(corvane_plain_flags INTERFACE)
target_compile_options(corvane_plain_flags INTERFACE -fno-exceptions -fno-rtti)

# Every target of ours gets the same strict warnings, and warnings fail the build.
add_library(murmora_warnings INTERFACE)
if(MSVC)
  target_compile_options(murmora_warnings INTERFACE /W4 /WX)
else()
  target_compile_options(murmora_warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wold-style-cast
    -Wcast-align -Woverloaded-virtual -Wconversion -Wsign-conversion
    -Wimplicit-fallthrough -Werror)
endif()

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

# Qt's generated sources (QML cache, type registrations, resources) are compiled inside our targets but are not
# ours to fix; they get the compiler's default warnings instead of ours.
function(murmora_relax_generated_sources target)
  get_target_property(sources ${target} SOURCES)
  foreach(source IN LISTS sources)
    get_filename_component(path "${source}" ABSOLUTE BASE_DIR "${CMAKE_CURRENT_SOURCE_DIR}")
    string(FIND "${path}" "${CMAKE_BINARY_DIR}/" inBuild)
    if(inBuild EQUAL 0)
      set_source_files_properties("${path}" TARGET_DIRECTORY ${target} PROPERTIES COMPILE_OPTIONS "-w")
    endif()
  endforeach()
endfunction()

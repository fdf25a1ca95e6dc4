# Settings baked into the application at build time. Each is empty unless given on the command line
# (-DMURMORA_RELAY_URL=https://relay.example.com); the environment variables of the same names override the
# first three when the program runs.
set(MURMORA_RELAY_URL "" CACHE STRING "Origin of the AI relay (https://host[:port]); empty builds without a relay")
set(MURMORA_RELAY_SECRET "" CACHE STRING "Shared secret sent to the relay as x-murmora-app")
set(MURMORA_VERSION_HOST "" CACHE STRING
    "Host (or origin) serving /version.json for the update check; empty disables the check")
set(MURMORA_SITE_URL "" CACHE STRING "The product's web address, shown on shares and cards")

# Writes the header that BuildSettings.cpp compiles in. Only that one file depends on it, so changing a
# setting rebuilds one object.
function(murmora_write_build_settings path)
  foreach(name MURMORA_RELAY_URL MURMORA_RELAY_SECRET MURMORA_VERSION_HOST MURMORA_SITE_URL)
    string(FIND "${${name}}" ")murmora\"" clash)
    if(NOT clash EQUAL -1)
      message(FATAL_ERROR "${name} must not contain the text )murmora\"")
    endif()
  endforeach()
  set(MURMORA_VERSION "${PROJECT_VERSION}")
  configure_file("${PROJECT_SOURCE_DIR}/cmake/BuildSettings.h.in" "${path}" @ONLY)
endfunction()

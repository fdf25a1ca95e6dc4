# The symbols of the screens are SVGs of the lucide icon set (npm package lucide-static, ISC), installed into
# third_party/lucide by scripts/setup. Only the icons named in a table of symbol names are embedded, each under
# its symbol name, so the code asks for "sparkles" or "person.crop.circle" and never for a file.
include_guard(GLOBAL)

set(MURMORA_LUCIDE_ICONS "${PROJECT_SOURCE_DIR}/third_party/lucide/node_modules/lucide-static/icons")

# Embeds in `target`, under :/Murmora/symbols/<symbol>.svg, the icon each line of `table` names, plus `own`
# SVGs given as extra files (kept under their file names).
function(murmora_embed_symbols target table)
  if(NOT EXISTS "${MURMORA_LUCIDE_ICONS}")
    message(FATAL_ERROR "The icon set is not installed: run ./scripts/setup run (it installs "
                        "third_party/lucide with npm).")
  endif()
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${table}")
  file(STRINGS "${table}" lines REGEX "^[^#]")
  set(folder "${CMAKE_CURRENT_BINARY_DIR}/symbols")
  set(files)
  foreach(line IN LISTS lines)
    string(REGEX MATCH "^([^ ]+) +([^ ]+)$" matched "${line}")
    if(NOT matched)
      message(FATAL_ERROR "${table}: cannot read the line '${line}'")
    endif()
    set(icon "${MURMORA_LUCIDE_ICONS}/${CMAKE_MATCH_2}.svg")
    if(NOT EXISTS "${icon}")
      message(FATAL_ERROR "${table}: the icon set has no ${CMAKE_MATCH_2}")
    endif()
    configure_file("${icon}" "${folder}/${CMAKE_MATCH_1}.svg" COPYONLY)
    list(APPEND files "${folder}/${CMAKE_MATCH_1}.svg")
  endforeach()
  foreach(own IN LISTS ARGN)
    get_filename_component(name "${own}" NAME)
    configure_file("${own}" "${folder}/${name}" COPYONLY)
    list(APPEND files "${folder}/${name}")
  endforeach()
  qt_add_resources(${target} murmora_symbols PREFIX "/Murmora/symbols" BASE "${folder}" FILES ${files})
endfunction()

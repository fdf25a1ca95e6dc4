# The VADER sentiment lexicon comes from the npm package vader-sentiment, which scripts/setup installs into
# third_party/vader/node_modules. Its text is compiled into the library, so the program needs no data file.
include_guard(GLOBAL)

set(MURMORA_VADER_PACKAGE_DIR "${PROJECT_SOURCE_DIR}/third_party/vader/node_modules/vader-sentiment"
    CACHE INTERNAL "Installed vader-sentiment package")
set(MURMORA_VADER_LEXICON "${MURMORA_VADER_PACKAGE_DIR}/vader_lexicon.txt")

if(NOT EXISTS "${MURMORA_VADER_LEXICON}")
  message(FATAL_ERROR
    "The VADER sentiment lexicon is missing: ${MURMORA_VADER_LEXICON} does not exist.\n"
    "Run scripts/setup to install it (it runs `npm ci` in third_party/vader).")
endif()

# Adds to `target` a generated source that defines dovrel::Vader::lexiconText(). It is written again whenever
# the lexicon file changes.
function(murmora_embed_vader_lexicon target)
  set(output "${CMAKE_CURRENT_BINARY_DIR}/generated/VaderLexicon.cpp")
  add_custom_command(
    OUTPUT "${output}"
    COMMAND "${CMAKE_COMMAND}" "-DINPUT=${MURMORA_VADER_LEXICON}" "-DOUTPUT=${output}"
            -P "${PROJECT_SOURCE_DIR}/cmake/EmbedVaderLexicon.cmake"
    DEPENDS "${MURMORA_VADER_LEXICON}" "${PROJECT_SOURCE_DIR}/cmake/EmbedVaderLexicon.cmake"
    COMMENT "Embedding the VADER lexicon"
    VERBATIM)
  target_sources(${target} PRIVATE "${output}")
endfunction()

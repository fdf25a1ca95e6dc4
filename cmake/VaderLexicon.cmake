# The VADER sentiment lexicon (vader_lexicon.txt of the npm package vader-sentiment 1.1.3, Apache-2.0, with its
# LICENSE and NOTICE) is kept in third_party/vader, so a build needs neither node nor npm. Its text is compiled
# into the library, so the program needs no data file. The package itself (installed by scripts/setup for the
# tests) is what the sentiment tests compare our scores with.
include_guard(GLOBAL)

set(MURMORA_VADER_LEXICON "${PROJECT_SOURCE_DIR}/third_party/vader/vader_lexicon.txt")
set(MURMORA_VADER_PACKAGE_DIR "${PROJECT_SOURCE_DIR}/third_party/vader/node_modules/vader-sentiment"
    CACHE INTERNAL "Installed vader-sentiment package, for the tests")

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

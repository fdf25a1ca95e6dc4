# Script mode: cmake -DINPUT=<lexicon> -DOUTPUT=<cpp> -P EmbedVaderLexicon.cmake
# Writes the file's bytes as an array, so no character of the text needs escaping.
file(READ "${INPUT}" bytes HEX)
string(LENGTH "${bytes}" hexLength)
math(EXPR size "${hexLength} / 2")
string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${bytes}")
# 16 bytes to a line.
string(REPEAT "0x[0-9a-f][0-9a-f]," 16 line)
string(REGEX REPLACE "(${line})" "\\1\n" bytes "${bytes}")
file(WRITE "${OUTPUT}.tmp"
  "// Generated from vader_lexicon.txt by cmake/EmbedVaderLexicon.cmake. Do not edit.\n"
  "#include <cstddef>\n#include <string_view>\n\n"
  "namespace dovrel::Vader {\nnamespace {\n"
  "constexpr unsigned char lexiconBytes[${size}] = {\n${bytes}\n};\n"
  "} // namespace\n\n"
  "std::string_view lexiconText() {\n"
  "    return {reinterpret_cast<const char*>(lexiconBytes), sizeof lexiconBytes};\n}\n\n"
  "} // namespace dovrel::Vader\n")
file(COPY_FILE "${OUTPUT}.tmp" "${OUTPUT}" ONLY_IF_DIFFERENT)
file(REMOVE "${OUTPUT}.tmp")

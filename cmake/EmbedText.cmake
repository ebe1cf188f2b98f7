# Writes a C++ source that defines `const char SYMBOL[]` with the bytes of INPUT.
# cmake -DINPUT=... -DOUTPUT=... -DSYMBOL=... -P EmbedText.cmake
file(READ "${INPUT}" hex HEX)
string(LENGTH "${hex}" length)
string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${hex}")
math(EXPR size "${length} / 2")
file(WRITE "${OUTPUT}"
  "// Generated from ${INPUT}; do not edit.\n"
  "#include <cstddef>\n"
  "extern const char ${SYMBOL}[] = {${bytes} 0};\n"
  "extern const std::size_t ${SYMBOL}Size = ${size};\n")

# Writes a C++ source with the module's bitmap resources: every <number>.png of FOLDER as
# `const BitmapResource kBitmapResources[]` (number, bytes, size) and its count.
# cmake -DFOLDER=... -DOUTPUT=... -P EmbedBitmaps.cmake
file(GLOB pngs "${FOLDER}/*.png")
list(SORT pngs)
set(arrays "")
set(rows "")
foreach(png ${pngs})
  get_filename_component(id "${png}" NAME_WE)
  file(READ "${png}" hex HEX)
  string(LENGTH "${hex}" length)
  math(EXPR size "${length} / 2")
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${hex}")
  string(APPEND arrays "const unsigned char kBitmap${id}[] = {${bytes}};\n")
  string(APPEND rows "    {${id}, kBitmap${id}, ${size}},\n")
endforeach()
list(LENGTH pngs count)
file(WRITE "${OUTPUT}"
  "// Generated from ${FOLDER}; do not edit.\n"
  "#include \"light/title_resources.h\"\n"
  "namespace tnwebui {\nnamespace {\n${arrays}}  // namespace\n"
  "extern const BitmapResource kBitmapResources[] = {\n${rows}};\n"
  "extern const std::size_t kBitmapResourceCount = ${count};\n}  // namespace tnwebui\n")

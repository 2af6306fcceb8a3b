# Turns the message catalogue text into a C++ source holding it as one
# NUL-terminated array, so the layer carries its catalogue built in.
# Usage: cmake -DINPUT=<catalogue> -DOUTPUT=<source> -P embed_catalogue.cmake
file(READ "${INPUT}" hex HEX)
string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${hex}")
string(REGEX REPLACE "(0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,)" "\\1\n  " bytes "${bytes}")
file(WRITE "${OUTPUT}.tmp"
  "// Generated from the message catalogue; do not edit.\n"
  "#include \"message_catalogue_text.h\"\n\n"
  "namespace zxv::platform {\n\n"
  "const char kBuiltInCatalogue[] = {\n  ${bytes}0x00};\n\n"
  "}  // namespace zxv::platform\n")
file(COPY_FILE "${OUTPUT}.tmp" "${OUTPUT}" ONLY_IF_DIFFERENT)
file(REMOVE "${OUTPUT}.tmp")

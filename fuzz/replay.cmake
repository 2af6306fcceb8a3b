# Corpus replay: every fuzz/<name>_fuzz.cpp is also built with the normal
# compiler against fuzz/replay_main.cpp and run over fuzz/corpus/<name>.
file(GLOB zxv_fuzz_sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/fuzz/*_fuzz.cpp)
foreach(src ${zxv_fuzz_sources})
  get_filename_component(fname ${src} NAME_WE)
  string(REGEX REPLACE "_fuzz$" "" name ${fname})
  add_executable(${name}_replay ${src} ${PROJECT_SOURCE_DIR}/fuzz/replay_main.cpp)
  target_include_directories(${name}_replay PRIVATE ${PROJECT_SOURCE_DIR})
  target_link_libraries(${name}_replay PRIVATE zxvxzu zxvxcs2)
  zxv_warnings(${name}_replay)
  add_test(NAME fuzz_replay.${name}
           COMMAND ${name}_replay ${PROJECT_SOURCE_DIR}/fuzz/corpus/${name})
  set_tests_properties(fuzz_replay.${name} PROPERTIES
    LABELS fuzz_replay ENVIRONMENT "KWSPREFIX=${CMAKE_BINARY_DIR}/test-data")
endforeach()

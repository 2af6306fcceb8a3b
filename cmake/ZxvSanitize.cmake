# ZXV_SANITIZE=address gives ASan+UBSan that stop at the first report;
# ZXV_SANITIZE=thread gives TSan.
if(ZXV_SANITIZE STREQUAL "address")
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all
                      -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined -fno-sanitize-recover=all)
elseif(ZXV_SANITIZE STREQUAL "thread")
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
elseif(NOT ZXV_SANITIZE STREQUAL "")
  message(FATAL_ERROR "ZXV_SANITIZE must be empty, 'address' or 'thread'")
endif()

# Fuzz builds instrument all code for coverage; the targets add the driver.
if(ZXV_BUILD_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()

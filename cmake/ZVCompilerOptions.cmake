# Warning and sanitizer settings shared by the library, its tests and its tools.
function(zv_set_compile_options target)
    target_compile_options(${target} PRIVATE -Wall -Wextra)
    if(ZV_WERROR)
        target_compile_options(${target} PRIVATE -Werror)
    endif()
endfunction()

if(ZV_SANITIZE)
    set(ZV_SANITIZER_FLAGS -fsanitize=address,undefined -fno-sanitize-recover=all
                           -fno-omit-frame-pointer)
    add_compile_options(${ZV_SANITIZER_FLAGS})
    add_link_options(${ZV_SANITIZER_FLAGS})
endif()

# Coverage for libFuzzer in everything the fuzz targets link, the library included.
if(ZV_BUILD_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()

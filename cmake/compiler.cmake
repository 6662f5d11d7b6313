# What every target of the project is compiled with.

# ccache, where there is one. Paths are hashed relative to the source tree, so that several checkouts of it
# share their results.
find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM AND NOT CMAKE_CXX_COMPILER_LAUNCHER AND NOT CMAKE_HOST_WIN32)
  set(CMAKE_CXX_COMPILER_LAUNCHER env CCACHE_BASEDIR=${CMAKE_SOURCE_DIR} CCACHE_NOHASHDIR=1 ${CCACHE_PROGRAM})
endif()

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wno-sign-conversion)
# Nothing here reads floating-point flags or errno; loops with comparisons vectorise only when the compiler may
# rely on that. Results stay exactly those of IEEE arithmetic.
add_compile_options(-fno-trapping-math -fno-math-errno)
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # g++ 12 sees overlapping copies in `text + std::string` where there are none (GCC bug 105651).
  add_compile_options(-Wno-restrict)
endif()
if(VELOR_WERROR)
  add_compile_options(-Werror)
endif()
if(VELOR_SANITIZE)
  add_compile_options(-fsanitize=${VELOR_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${VELOR_SANITIZE})
endif()
if(VELOR_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=all
                      -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()

if(WIN32)
  # _USE_MATH_DEFINES: the C library hides M_PI from strict C++. __USE_MINGW_ANSI_STDIO: printf knows %zu and
  # %lld on every Windows.
  add_compile_definitions(UNICODE _UNICODE _WIN32_WINNT=0x0A00 _USE_MATH_DEFINES __USE_MINGW_ANSI_STDIO=1)
  # Large tables and many templates in one file pass the 65,535 sections of the plain object format.
  add_compile_options(-Wa,-mbig-obj)
  add_link_options(-static)
endif()

# CLI11 and nlohmann-json are headers only, so a cross build can use the ones of the host; but /usr/include as
# a whole would bring the host's C library in, so a folder of links shows it just these two.
if(CMAKE_CROSSCOMPILING)
  foreach(package CLI nlohmann)
    find_path(VELOR_${package}_HEADERS ${package} PATHS /usr/include NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
    if(VELOR_${package}_HEADERS)
      file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/host_headers)
      file(CREATE_LINK ${VELOR_${package}_HEADERS}/${package} ${CMAKE_BINARY_DIR}/host_headers/${package} SYMBOLIC)
    endif()
  endforeach()
  include_directories(SYSTEM ${CMAKE_BINARY_DIR}/host_headers)
endif()

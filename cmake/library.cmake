# The library: libzut.so.1, or zut.dll with libzut.dll.a.
if(WIN32)
  set(platform win32)
else()
  set(platform posix)
endif()

file(GLOB_RECURSE sources CONFIGURE_DEPENDS src/*.cpp)
list(FILTER sources EXCLUDE REGEX "/src/platform/(posix|win32)/")
file(GLOB answers CONFIGURE_DEPENDS src/platform/${platform}/*.cpp)
add_library(zut SHARED ${sources} ${answers})
target_include_directories(zut
  PUBLIC $<BUILD_INTERFACE:${CMAKE_SOURCE_DIR}/include> $<INSTALL_INTERFACE:include>
  PRIVATE src src/platform/${platform})
target_compile_definitions(zut PRIVATE Z_BUILDING $<$<BOOL:${ZUT_FAIL_ALLOC}>:ZUT_FAIL_ALLOC>
  $<$<OR:$<BOOL:${ZUT_CHECKS}>,$<CONFIG:Debug>>:ZUT_CHECKS>)
target_compile_options(zut PRIVATE -fno-exceptions)
set_target_properties(zut PROPERTIES SOVERSION 1 VERSION ${PROJECT_VERSION})

# What is exported is what the header declares; nothing else keeps a list.
set(header ${CMAKE_SOURCE_DIR}/include/zut.h)
set(exports ${CMAKE_BINARY_DIR}/zut.$<IF:$<BOOL:${WIN32}>,def,map>)
add_custom_command(OUTPUT ${exports}
  COMMAND ${CMAKE_COMMAND} -DHEADER=${header} -DOUT=${exports}
          -P ${CMAKE_SOURCE_DIR}/cmake/exports.cmake
  DEPENDS ${header} ${CMAKE_SOURCE_DIR}/cmake/exports.cmake
  VERBATIM)
add_custom_target(exports DEPENDS ${exports})
add_dependencies(zut exports)
set_property(TARGET zut APPEND PROPERTY LINK_DEPENDS ${exports})

if(WIN32)
  set_target_properties(zut PROPERTIES PREFIX "" IMPORT_PREFIX lib)
  target_link_options(zut PRIVATE ${exports})
  target_link_libraries(zut PRIVATE ws2_32 advapi32)
else()
  # Calls within the library do not go through the symbol table: they start and run faster.
  target_compile_options(zut PRIVATE -fno-semantic-interposition)
  # Once loaded the library stays: the ends of threads and of the process run code of it.
  target_link_options(zut PRIVATE LINKER:--version-script=${exports}
    LINKER:-Bsymbolic-functions LINKER:--as-needed LINKER:-z,nodelete)
  if(NOT ZUT_SANITIZE) # their runtime comes from the program
    # What is used of the C++ runtime is linked in, unseen from outside: nothing of C++ crosses the
    # edge, and to load the whole of it would take as long as the rest of a start.
    set(ZUT_OWN_RUNTIME -static-libstdc++ -static-libgcc)
    target_link_options(zut PRIVATE LINKER:-z,defs ${ZUT_OWN_RUNTIME})
  endif()
  find_package(Threads REQUIRED)
  target_link_libraries(zut PRIVATE Threads::Threads ${CMAKE_DL_LIBS})
endif()

# A build tree finds its own data where an installed library does: ../share/zut.
file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/share)
if(CMAKE_HOST_UNIX)
  file(CREATE_LINK ${CMAKE_SOURCE_DIR}/share ${CMAKE_BINARY_DIR}/share/zut SYMBOLIC)
else()
  file(COPY ${CMAKE_SOURCE_DIR}/share/ DESTINATION ${CMAKE_BINARY_DIR}/share/zut)
endif()

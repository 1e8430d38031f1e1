# Generates the NDK C++ glue of AIDL files with the host's AIDL compiler, adapted so that the
# daemon's sources compile unchanged against it and against the device's generated code.
# Run in script mode by the build (aidl/CMakeLists.txt), never by hand:
#
#   cmake -DAIDL=<aidl compiler> -DIMPORT_DIR=<root of the .aidl tree> -DOUTPUT_DIR=<dir>
#         -DAIDL_FILES=<paths relative to IMPORT_DIR, ;-separated> -P GenerateAidl.cmake
#
# Outputs: OUTPUT_DIR/include (headers, included as <aidl/...>) and OUTPUT_DIR/src (sources).
#
# The host's compiler is older than the device's backend; the adaptation is:
#  1. It rejects @VintfStability, which only matters to the device's interface manifest: the
#     .aidl files are staged in OUTPUT_DIR/staged without it.
#  2. It maps byte[] to std::vector<int8_t> where the device uses std::vector<uint8_t>: the
#     generated code is rewritten to the latter (a scalar byte stays int8_t on both).
# Everything else it emits (plain `new` for proxies, no interface hash) the host's binder NDK
# headers accept as they are.

foreach(var AIDL IMPORT_DIR OUTPUT_DIR AIDL_FILES)
    if(NOT DEFINED ${var})
        message(FATAL_ERROR "GenerateAidl.cmake: ${var} is not set")
    endif()
endforeach()

set(staged ${OUTPUT_DIR}/staged)
set(headers ${OUTPUT_DIR}/include)
set(sources ${OUTPUT_DIR}/src)
file(REMOVE_RECURSE ${staged} ${headers} ${sources})

foreach(aidl_file IN LISTS AIDL_FILES)
    file(READ ${IMPORT_DIR}/${aidl_file} text)
    string(REGEX REPLACE "@VintfStability[ \t]*\n?" "" text "${text}")
    file(WRITE ${staged}/${aidl_file} "${text}")
endforeach()

foreach(aidl_file IN LISTS AIDL_FILES)
    execute_process(
        COMMAND ${AIDL} --lang=ndk --structured --version=1 -I${staged} -h ${headers}
                -o ${sources} ${staged}/${aidl_file}
        RESULT_VARIABLE result)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "aidl failed on ${aidl_file}")
    endif()
endforeach()

file(GLOB_RECURSE generated ${headers}/*.h ${sources}/*.cpp)
foreach(file IN LISTS generated)
    file(READ ${file} text)
    string(REPLACE "std::vector<int8_t>" "std::vector<uint8_t>" adapted "${text}")
    if(NOT adapted STREQUAL text)
        file(WRITE ${file} "${adapted}")
    endif()
endforeach()

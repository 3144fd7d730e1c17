# One step of the test of the installed tree.
#   tree           installs the build into SCRATCH/prefix and checks that the files are in place
#   cmake_package  builds the host with find_package(tarnel) and runs it
#   pkg_config     builds the host with the flags that pkg-config gives and runs it
# The tree is installed where the build was not configured for, as a packager does: nothing may name the other place.
set(prefix ${SCRATCH}/prefix)
set(host_source ${CMAKE_CURRENT_LIST_DIR}/host)

function(run_or_stop)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE output ERROR_VARIABLE output)
    if(NOT status EQUAL 0)
        string(REPLACE ";" " " command "${ARGN}")
        message(FATAL_ERROR "${command}\n${output}\nstatus ${status}")
    endif()
endfunction()

# Runs the host on a copy of the example: it must be told 0, and the log must end with the end line.
function(check_host host)
    set(model ${SCRATCH}/${STEP}/model)
    file(REMOVE_RECURSE ${model})
    file(COPY ${EXAMPLE}/ DESTINATION ${model})
    execute_process(COMMAND ${host} WORKING_DIRECTORY ${model}
                    RESULT_VARIABLE status OUTPUT_VARIABLE output ERROR_VARIABLE errors)
    if(NOT status EQUAL 0 OR NOT output STREQUAL "returned 0\n")
        message(FATAL_ERROR "${host}: status ${status}\n${output}${errors}")
    endif()
    file(READ ${model}/tarnel.log log)
    if(NOT log MATCHES "\n    === The end\\. ===\n$")
        message(FATAL_ERROR "the log does not end with the end line:\n${log}")
    endif()
endfunction()

if(STEP STREQUAL "tree")
    file(REMOVE_RECURSE ${SCRATCH})
    if(CONFIG)
        set(of_config --config ${CONFIG})
    endif()
    run_or_stop(${CMAKE_COMMAND} --install ${BUILD} --prefix ${prefix} ${of_config})
    string(REGEX MATCH "^[0-9]+" major ${VERSION})
    foreach(file
            ${INCLUDEDIR}/tarnel.h
            ${LIBDIR}/libtarnel.so
            ${LIBDIR}/libtarnel.so.${major}
            ${LIBDIR}/libtarnel.so.${VERSION}
            ${LIBDIR}/cmake/tarnel/tarnel-config.cmake
            ${LIBDIR}/cmake/tarnel/tarnel-config-version.cmake
            ${LIBDIR}/cmake/tarnel/tarnel-targets.cmake
            ${LIBDIR}/pkgconfig/tarnel.pc)
        if(NOT EXISTS ${prefix}/${file})
            message(FATAL_ERROR "not installed: ${file}")
        endif()
    endforeach()

elseif(STEP STREQUAL "cmake_package")
    set(build ${SCRATCH}/${STEP}/build)
    file(REMOVE_RECURSE ${build})
    set(flags "")
    if(SANITIZE)
        set(flags "-fsanitize=${SANITIZE}")
    endif()
    run_or_stop(${CMAKE_COMMAND} -S ${host_source} -B ${build} -G ${GENERATOR}
                -DCMAKE_C_COMPILER=${C_COMPILER} -DCMAKE_C_FLAGS=${flags} -DCMAKE_PREFIX_PATH=${prefix}
                -DWANTED_VERSION=${VERSION} -DWANTED_PREFIX=${prefix})
    run_or_stop(${CMAKE_COMMAND} --build ${build})
    check_host(${build}/host)

elseif(STEP STREQUAL "pkg_config")
    if(NOT PKG_CONFIG)
        message(FATAL_ERROR "pkg-config is missing")
    endif()
    file(MAKE_DIRECTORY ${SCRATCH}/${STEP})
    set(ENV{PKG_CONFIG_PATH} ${prefix}/${LIBDIR}/pkgconfig)
    run_or_stop(${PKG_CONFIG} --exact-version=${VERSION} tarnel)
    execute_process(COMMAND ${PKG_CONFIG} --cflags --libs tarnel OUTPUT_VARIABLE flags COMMAND_ERROR_IS_FATAL ANY
                    OUTPUT_STRIP_TRAILING_WHITESPACE)
    separate_arguments(flags UNIX_COMMAND "${flags}")
    if(SANITIZE)
        list(APPEND flags -fsanitize=${SANITIZE})
    endif()
    run_or_stop(${C_COMPILER} -std=c11 -Wall -Wextra -Wpedantic -Werror ${host_source}/host.c
                -o ${SCRATCH}/${STEP}/host ${flags})
    set(ENV{LD_LIBRARY_PATH} ${prefix}/${LIBDIR})
    check_host(${SCRATCH}/${STEP}/host)

else()
    message(FATAL_ERROR "no such step: ${STEP}")
endif()

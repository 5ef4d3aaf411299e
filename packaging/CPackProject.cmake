# SPDX-License-Identifier: MIT
# Read by cpack for each package it makes. For the .deb, dpkg-shlibdeps finds the libraries the
# binaries link; what Qt loads at run time it cannot see: the QML modules the views import and the
# platform, icon and image plugins. qmlimportscanner says what our QML files import, and dpkg says
# which packages own those modules and plugins; they join the dependencies.
if(NOT CPACK_GENERATOR STREQUAL "DEB")
    return()
endif()

file(GLOB_RECURSE qml_files
    "${CPACK_HOLLOWMERE_SOURCE_DIR}/Hollowmere/*.qml" "${CPACK_HOLLOWMERE_SOURCE_DIR}/NotchKit/*.qml")
list(FILTER qml_files EXCLUDE REGEX "/demo/")
execute_process(
    COMMAND "${CPACK_HOLLOWMERE_QMLIMPORTSCANNER}" -importPath "${CPACK_HOLLOWMERE_QML_IMPORT_PATH}"
            -qmlFiles ${qml_files}
    OUTPUT_VARIABLE imports
    ERROR_VARIABLE complaints
    RESULT_VARIABLE status)
if(NOT status EQUAL 0)
    message(FATAL_ERROR "qmlimportscanner failed (${status}): ${complaints}")
endif()

# Our own modules are compiled in; only Qt's, found under its QML directory, come from packages.
set(owned ${CPACK_HOLLOWMERE_RUNTIME_PLUGINS})
string(JSON count LENGTH "${imports}")
if(count GREATER 0)
    math(EXPR last "${count} - 1")
    foreach(i RANGE ${last})
        string(JSON path ERROR_VARIABLE missing GET "${imports}" ${i} path)
        string(FIND "${path}" "${CPACK_HOLLOWMERE_QML_IMPORT_PATH}/" at)
        if(NOT missing AND at EQUAL 0 AND EXISTS "${path}/qmldir")
            list(APPEND owned "${path}/qmldir")
        endif()
    endforeach()
endif()
list(REMOVE_DUPLICATES owned)

execute_process(COMMAND dpkg-query --search ${owned}
    OUTPUT_VARIABLE owners ERROR_VARIABLE error RESULT_VARIABLE status)
if(NOT status EQUAL 0)
    message(FATAL_ERROR "No Debian package owns some of what the app loads at run time: ${error}")
endif()
string(REGEX MATCHALL "[^\n]+" lines "${owners}")
set(packages "")
foreach(line IN LISTS lines)
    # "qml6-module-qtquick-shapes:amd64: /usr/lib/…/qmldir"
    string(REGEX MATCH "^[^:,]+" package "${line}")
    list(APPEND packages ${package})
endforeach()
list(REMOVE_DUPLICATES packages)
list(SORT packages)
list(JOIN packages ", " CPACK_DEBIAN_PACKAGE_DEPENDS)
message(STATUS "Run-time dependencies of the QML and Qt plugins: ${CPACK_DEBIAN_PACKAGE_DEPENDS}")

# SPDX-License-Identifier: MIT
# The app bundle's Info.plist, written by the same code on every system so that a Linux build can
# check what macOS will get. Settings (cache variables of the build):
#   HOLLOWMERE_APPCAST_URL          Sparkle's feed (SUFeedURL); empty: no update feed
#   HOLLOWMERE_SPARKLE_PUBLIC_KEY   Sparkle's EdDSA public key (SUPublicEDKey); empty: none
# In script mode it writes OUTPUT from -D variables:
#   cmake -DOUTPUT=Info.plist -DPROJECT_VERSION=1.2.3 [-DHOLLOWMERE_APPCAST_URL=…]
#         [-DHOLLOWMERE_SPARKLE_PUBLIC_KEY=…] -P InfoPlist.cmake

# The bundle identifier is also the defaults domain that QSettings uses on macOS (organisation
# domain hollowmere.app reversed, then the application name), so the app's preferences and
# Sparkle's SUEnableAutomaticChecks live in one place.
set(HOLLOWMERE_BUNDLE_ID "app.hollowmere.Hollowmere")

function(_hollowmere_plist_string out value)
    string(REPLACE "&" "&amp;" value "${value}")
    string(REPLACE "<" "&lt;" value "${value}")
    string(REPLACE ">" "&gt;" value "${value}")
    set(${out} "${value}" PARENT_SCOPE)
endfunction()

function(hollowmere_write_info_plist output)
    set(HOLLOWMERE_APPLE_EVENTS_USAGE "Hollowmere brings a Claude Code session's terminal to \
the front when you click the session, by asking iTerm2 or Terminal to select its tab, and types \
your answers into that terminal through System Events.")
    set(HOLLOWMERE_MACOS_MINIMUM "12.0")
    if(CMAKE_OSX_DEPLOYMENT_TARGET)
        set(HOLLOWMERE_MACOS_MINIMUM "${CMAKE_OSX_DEPLOYMENT_TARGET}")
    endif()
    set(HOLLOWMERE_SPARKLE_KEYS "")
    if(NOT "${HOLLOWMERE_APPCAST_URL}" STREQUAL "")
        _hollowmere_plist_string(url "${HOLLOWMERE_APPCAST_URL}")
        # Automatic checks on by default, without Sparkle's question on the second launch.
        string(APPEND HOLLOWMERE_SPARKLE_KEYS
            "\t<key>SUEnableAutomaticChecks</key>\n\t<true/>\n"
            "\t<key>SUFeedURL</key>\n\t<string>${url}</string>\n")
    endif()
    if(NOT "${HOLLOWMERE_SPARKLE_PUBLIC_KEY}" STREQUAL "")
        _hollowmere_plist_string(key "${HOLLOWMERE_SPARKLE_PUBLIC_KEY}")
        string(APPEND HOLLOWMERE_SPARKLE_KEYS "\t<key>SUPublicEDKey</key>\n\t<string>${key}</string>\n")
    endif()
    configure_file("${CMAKE_CURRENT_FUNCTION_LIST_DIR}/Info.plist.in" "${output}" @ONLY)
endfunction()

if(CMAKE_SCRIPT_MODE_FILE STREQUAL CMAKE_CURRENT_LIST_FILE)
    hollowmere_write_info_plist("${OUTPUT}")
endif()

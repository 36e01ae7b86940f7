# ZekaInstall.cmake - what `cmake --install` puts where. Every path is relative to the prefix and the files that name
# paths find it from where they lie, so an installed tree can be moved and `cmake --install build --prefix <folder>`
# needs no new build. Components: zeka_runtime, zeka_devel, zeka_tools.
include(CMakePackageConfigHelpers)

# The places in which systemd-udevd looks are lib/udev below /usr and /usr/local, also where libraries lie elsewhere.
set(ZEKA_UDEV_RULES_DIR "lib/udev/rules.d" CACHE STRING "Folder of the udev rules, from the prefix")
set(ZEKA_USB_VENDOR "" CACHE STRING "USB vendor id of the instrument, four hexadecimal digits, for the udev rules")
set(ZEKA_USB_PRODUCT "" CACHE STRING "USB product id of the instrument, four hexadecimal digits, for the udev rules")

# zeka_back_to_prefix(<result> <folder>): "../.." from an installed folder, the prefix itself where that is absolute.
function(zeka_back_to_prefix result folder)
    if(IS_ABSOLUTE "${folder}")
        set(${result} "" PARENT_SCOPE)
    else()
        file(RELATIVE_PATH back "/prefix/${folder}" "/prefix")
        string(REGEX REPLACE "/$" "" back "${back}")
        set(${result} "${back}" PARENT_SCOPE)
    endif()
endfunction()

# ---- library, headers, CMake package
install(TARGETS zeka EXPORT zeka
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT zeka_runtime NAMELINK_COMPONENT zeka_devel)
install(TARGETS zeka_static EXPORT zeka ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT zeka_devel)
install(FILES ${PROJECT_SOURCE_DIR}/include/zeka/zeka.h ${PROJECT_SOURCE_DIR}/include/zeka/platform.hpp
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zeka COMPONENT zeka_devel)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/zeka)
configure_package_config_file(${PROJECT_SOURCE_DIR}/packaging/cmake/zeka-config.cmake.in
    ${PROJECT_BINARY_DIR}/packaging/zeka-config.cmake INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/packaging/zeka-config-version.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/packaging/zeka-config.cmake
    ${PROJECT_BINARY_DIR}/packaging/zeka-config-version.cmake DESTINATION ${package_dir} COMPONENT zeka_devel)
install(EXPORT zeka NAMESPACE zeka:: FILE zeka-targets.cmake DESTINATION ${package_dir} COMPONENT zeka_devel)

# ---- pkg-config
zeka_back_to_prefix(back "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
if(back)
    set(zeka_pc_prefix "\${pcfiledir}/${back}")
else()
    set(zeka_pc_prefix "${CMAKE_INSTALL_PREFIX}")
endif()
foreach(kind IN ITEMS libdir includedir)
    string(TOUPPER ${kind} variable)
    if(IS_ABSOLUTE "${CMAKE_INSTALL_${variable}}")
        set(zeka_pc_${kind} "${CMAKE_INSTALL_${variable}}")
    else()
        set(zeka_pc_${kind} "\${prefix}/${CMAKE_INSTALL_${variable}}")
    endif()
endforeach()
foreach(name IN ITEMS zeka zeka_static)
    configure_file(${PROJECT_SOURCE_DIR}/packaging/pkgconfig/${name}.pc.in
        ${PROJECT_BINARY_DIR}/packaging/${name}.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/packaging/${name}.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT zeka_devel)
endforeach()

# ---- programs, which find the library beside themselves
zeka_back_to_prefix(back "${CMAKE_INSTALL_BINDIR}")
foreach(program IN ITEMS zeka_cli zeka_private_dev)
    if(TARGET ${program})
        if(back AND NOT IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
            set_target_properties(${program} PROPERTIES INSTALL_RPATH "\$ORIGIN/${back}/${CMAKE_INSTALL_LIBDIR}")
        endif()
        install(TARGETS ${program} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT zeka_tools)
    endif()
endforeach()

if(TARGET zeka_private_dev)
    install(FILES ${PROJECT_SOURCE_DIR}/packaging/man/zeka-private-dev.1
        DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT zeka_tools)
endif()

# The virtual instrument for the Python module: no headers, no name to link with.
if(TARGET zeka_sim_c)
    install(TARGETS zeka_sim_c LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT zeka_tools NAMELINK_SKIP)
endif()

# ---- what belongs to the command: manual pages, completion (made by the command itself), udev rules
if(TARGET zeka_cli)
    file(GLOB pages CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/man/*.1)
    install(FILES ${pages} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT zeka_tools)
    if(NOT CMAKE_CROSSCOMPILING)
        set(completion ${PROJECT_BINARY_DIR}/packaging/completion/zeka)
        add_custom_command(OUTPUT ${completion}
            COMMAND ${CMAKE_COMMAND} -E make_directory ${PROJECT_BINARY_DIR}/packaging/completion
            COMMAND zeka_cli completion bash > ${completion} DEPENDS zeka_cli VERBATIM)
        add_custom_target(zeka_completion ALL DEPENDS ${completion})
        install(FILES ${completion}
            DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT zeka_tools)
    endif()
endif()

foreach(id IN ITEMS VENDOR PRODUCT)
    string(TOLOWER "${ZEKA_USB_${id}}" zeka_usb_${id}) # as the kernel writes them
    if(NOT zeka_usb_${id} MATCHES "^([0-9a-f][0-9a-f][0-9a-f][0-9a-f])?$")
        message(FATAL_ERROR "ZEKA_USB_${id} is \"${ZEKA_USB_${id}}\"; give the four hexadecimal digits that lsusb shows")
    endif()
endforeach()
if(zeka_usb_VENDOR AND zeka_usb_PRODUCT)
    set(zeka_udev_state "They are set: the rules act on that device.")
elseif(NOT zeka_usb_VENDOR AND NOT zeka_usb_PRODUCT)
    # No device has such an id, so the rules do nothing until someone fills them in.
    set(zeka_usb_VENDOR "VVVV")
    set(zeka_usb_PRODUCT "PPPP")
    set(zeka_udev_state "They are not set yet: VVVV and PPPP match no device, and the rules do nothing.")
else()
    message(FATAL_ERROR "ZEKA_USB_VENDOR and ZEKA_USB_PRODUCT go together; one of them is empty")
endif()
configure_file(${PROJECT_SOURCE_DIR}/packaging/udev/70-zeka.rules.in ${PROJECT_BINARY_DIR}/packaging/70-zeka.rules
    @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/packaging/70-zeka.rules DESTINATION ${ZEKA_UDEV_RULES_DIR} COMPONENT zeka_tools)

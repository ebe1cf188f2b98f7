# `cmake --install` (and `make install`): the module, the platform libraries it links, the
# host-facing headers and a CMake package, so a host finds it with find_package(TnWebUI) and
# links the imported target TnWebUI::TnWebUI.

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(TNWEBUI_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/TnWebUI)

# A host includes "tnwebui/tnwebui.h"; the headers need nothing but the standard library.
target_include_directories(TnWebUI INTERFACE $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
                                             $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)

# The installed libraries find each other beside themselves, wherever the prefix is.
set(TNWEBUI_INSTALLED_LIBRARIES TnWebUI tnbase tncef tnhav tnwin)
set_target_properties(${TNWEBUI_INSTALLED_LIBRARIES} PROPERTIES INSTALL_RPATH "$ORIGIN")

install(TARGETS TnWebUI EXPORT TnWebUITargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime)
install(TARGETS tnbase tncef tnhav tnwin
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/tnwebui
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
install(EXPORT TnWebUITargets NAMESPACE TnWebUI:: DESTINATION ${TNWEBUI_CMAKE_DIR}
        COMPONENT development)

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/TnWebUIConfig.cmake.in
                              ${CMAKE_BINARY_DIR}/package/TnWebUIConfig.cmake
                              INSTALL_DESTINATION ${TNWEBUI_CMAKE_DIR})
# A host asking for 1.x gets any 1.x from 1.0.0.1 up.
write_basic_package_version_file(${CMAKE_BINARY_DIR}/package/TnWebUIConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/package/TnWebUIConfig.cmake
              ${CMAKE_BINARY_DIR}/package/TnWebUIConfigVersion.cmake
        DESTINATION ${TNWEBUI_CMAKE_DIR} COMPONENT development)

# tnwebui-run, for authors of light apps (component "tools"): the program in bin/, the render
# host it starts in libexec/tnwebui/, the sample host's libraries beside the module, the
# client's pages with their declarations and the sample light apps in share/tnwebui/. The
# program finds them from its own place.
set_target_properties(tnwebui-run PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
set_target_properties(tnwebui_render_host PROPERTIES
                      INSTALL_RPATH "$ORIGIN/../../${CMAKE_INSTALL_LIBDIR}")
set_target_properties(tnmainui TnMainUI PROPERTIES INSTALL_RPATH "$ORIGIN")
install(TARGETS tnwebui-run RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
install(TARGETS tnwebui_render_host tnwebui_viewer
        RUNTIME DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/tnwebui COMPONENT tools)
install(TARGETS tnmainui TnMainUI LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT tools)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/pages/ DESTINATION ${CMAKE_INSTALL_DATADIR}/tnwebui/pages
        COMPONENT tools PATTERN tsconfig.json EXCLUDE)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples/
        DESTINATION ${CMAKE_INSTALL_DATADIR}/tnwebui/examples COMPONENT tools
        PATTERN vendor EXCLUDE)
# The Vue example's framework, from npm (the source tree links it from node_modules/).
install(FILES ${PROJECT_SOURCE_DIR}/node_modules/vue/dist/vue.global.prod.js
        DESTINATION ${CMAKE_INSTALL_DATADIR}/tnwebui/examples/claims/vendor COMPONENT tools
        OPTIONAL)
# The workbench's manual, for light-app authors.
install(FILES ${PROJECT_SOURCE_DIR}/docs/workbench.md
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/tnwebui COMPONENT tools)

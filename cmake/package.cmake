# Installation: library, header, program, man page, Python module, pages, and what other build systems
# need to find them. Components are the Debian packages that the target `debian` makes.
include(CMakePackageConfigHelpers)

set(MOONHARE_PYTHON_DIR ${CMAKE_INSTALL_LIBDIR}/python3/dist-packages CACHE STRING
    "Where the Python module goes, below the prefix")
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/moonhare)

set_target_properties(mh PROPERTIES PUBLIC_HEADER ${PROJECT_SOURCE_DIR}/src/frame/moonhare.h)
target_include_directories(mh INTERFACE $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/src/frame>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
install(TARGETS mh EXPORT moonhare
    LIBRARY COMPONENT libmh0 NAMELINK_COMPONENT libmh-dev PUBLIC_HEADER COMPONENT libmh-dev)
install(TARGETS moonhare COMPONENT moonhare)
install(EXPORT moonhare NAMESPACE moonhare:: FILE moonhareConfig.cmake DESTINATION ${package_dir}
    COMPONENT libmh-dev)
write_basic_package_version_file(moonhareConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/moonhareConfigVersion.cmake DESTINATION ${package_dir}
    COMPONENT libmh-dev)

# Found relative to itself, so that the tree may be moved and packaged under any prefix.
file(RELATIVE_PATH pkgconfig_to_prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(cmake/moonhare.pc.in moonhare.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/moonhare.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT libmh-dev)

find_package(Python3 COMPONENTS Interpreter REQUIRED)
set(python_package ${CMAKE_CURRENT_BINARY_DIR}/python/moonhare)
add_custom_command(OUTPUT ${python_package}/functions.py
    COMMAND ${CMAKE_COMMAND} -E make_directory ${python_package}
    COMMAND Python3::Interpreter ${PROJECT_SOURCE_DIR}/tools/python/generate.py
        ${PROJECT_SOURCE_DIR}/src/frame/moonhare.h libmh.so.${PROJECT_VERSION_MAJOR}
        ${python_package}/functions.py
    DEPENDS tools/python/generate.py src/frame/moonhare.h VERBATIM)
file(WRITE ${python_package}/version.py "__version__ = \"${PROJECT_VERSION}\"\n")
file(WRITE ${python_package}/py.typed "")
set(python_files ${python_package}/functions.py)
set(._parts __init__ program)
set(farm_parts __init__ __main__ clusters dask_calls engine picture_job pictures pieces progress
    scene_pack worker)
set(scene_parts __init__ directory meshes names pictures text)
set(rendering_parts __init__ build describe pictures report scene size)
foreach(folder . farm rendering scene)
    foreach(part ${${folder}_parts})
        add_custom_command(OUTPUT ${python_package}/${folder}/${part}.py
            COMMAND ${CMAKE_COMMAND} -E copy ${PROJECT_SOURCE_DIR}/tools/python/${folder}/${part}.py
                ${python_package}/${folder}/${part}.py
            DEPENDS tools/python/${folder}/${part}.py VERBATIM)
        list(APPEND python_files ${python_package}/${folder}/${part}.py)
    endforeach()
endforeach()
add_custom_target(python_module ALL DEPENDS ${python_files})
install(DIRECTORY ${python_package} DESTINATION ${MOONHARE_PYTHON_DIR}
    COMPONENT python3-moonhare PATTERN __pycache__ EXCLUDE)

install(DIRECTORY docs examples DESTINATION ${CMAKE_INSTALL_DOCDIR}-doc COMPONENT moonhare-doc
    PATTERN __pycache__ EXCLUDE)
install(FILES README.md CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR}-doc COMPONENT moonhare-doc)
install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR}-doc COMPONENT licence)

set(packages ${CMAKE_CURRENT_BINARY_DIR}/packages)
add_custom_target(debian COMMAND Python3::Interpreter ${PROJECT_SOURCE_DIR}/cmake/make_debian.py
    ${PROJECT_BINARY_DIR} ${packages} DEPENDS mh moonhare moonhare_pages python_module
    blender_addon VERBATIM)

# One object library per subsystem. Each layer's headers are reachable only
# through a staging folder that holds a link to its own source folder, so a
# layer compiles against exactly the layers it depends on.

set(TARVEX_LAYER_ROOT ${CMAKE_BINARY_DIR}/layers)
set(TARVEX_GENERATED ${CMAKE_BINARY_DIR}/generated)
set_property(GLOBAL PROPERTY TARVEX_LAYERS "")

configure_file(${CMAKE_SOURCE_DIR}/cmake/version.h.in ${TARVEX_GENERATED}/tarvex/version.h @ONLY)

# tarvex_layer(name [DIR folder] [DEPENDS layer...] [LIBS library...])
# declares a subsystem. LIBS are system libraries the layer calls (plain
# names or imported targets); the library links them privately.
# DIR defaults to the name; a layer may sit in a subfolder of another
# (DIR element/calc), and the outer layer then neither compiles nor sees it.
# Sources and staging are settled in tarvex_library(), once every layer is
# known.
function(tarvex_layer name)
    cmake_parse_arguments(LAYER "" "DIR" "DEPENDS;LIBS" ${ARGN})
    if(NOT LAYER_DIR)
        set(LAYER_DIR ${name})
    endif()
    add_library(tarvex_${name} OBJECT)
    set_target_properties(tarvex_${name} PROPERTIES TARVEX_DIR ${LAYER_DIR})
    target_include_directories(tarvex_${name} PUBLIC $<BUILD_INTERFACE:${TARVEX_LAYER_ROOT}/${name}>)
    target_compile_options(tarvex_${name} PRIVATE -Wall -Wextra)
    if(name STREQUAL "platform")
        target_include_directories(tarvex_${name} PUBLIC $<BUILD_INTERFACE:${TARVEX_GENERATED}>)
    endif()
    foreach(dep IN LISTS LAYER_DEPENDS)
        target_link_libraries(tarvex_${name} PUBLIC tarvex_${dep})
    endforeach()
    if(LAYER_LIBS)
        target_link_libraries(tarvex_${name} PUBLIC ${LAYER_LIBS})
        set_property(GLOBAL APPEND PROPERTY TARVEX_LIBS ${LAYER_LIBS})
    endif()
    set_property(GLOBAL APPEND PROPERTY TARVEX_LAYERS ${name})
endfunction()

# Links every entry of a layer's folder into its staging folder, except the
# folders of layers nested inside it, and gives the layer its sources.
function(tarvex_stage_layer name all_dirs)
    get_target_property(dir tarvex_${name} TARVEX_DIR)
    set(nested "")
    foreach(other IN LISTS all_dirs)
        string(FIND "${other}" "${dir}/" at)
        if(at EQUAL 0)
            list(APPEND nested ${other})
        endif()
    endforeach()

    set(stage ${TARVEX_LAYER_ROOT}/${name}/tarvex/${dir})
    file(REMOVE_RECURSE ${TARVEX_LAYER_ROOT}/${name})
    file(MAKE_DIRECTORY ${stage})
    file(GLOB entries LIST_DIRECTORIES true CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/tarvex/${dir}/*)
    foreach(entry IN LISTS entries)
        file(RELATIVE_PATH rel ${CMAKE_SOURCE_DIR}/tarvex ${entry})
        if(NOT rel IN_LIST nested)
            get_filename_component(leaf ${entry} NAME)
            file(CREATE_LINK ${entry} ${stage}/${leaf} SYMBOLIC)
        endif()
    endforeach()

    file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/tarvex/${dir}/*.cpp)
    foreach(inner IN LISTS nested)
        list(FILTER sources EXCLUDE REGEX "^${CMAKE_SOURCE_DIR}/tarvex/${inner}/")
    endforeach()
    if(NOT sources) # a layer of headers only still needs an object to carry its usage
        set(sources ${TARVEX_GENERATED}/empty_${name}.cpp)
        file(WRITE ${sources} "")
    endif()
    target_sources(tarvex_${name} PRIVATE ${sources})
endfunction()

# The library proper: every layer's objects in one shared (or static) library.
function(tarvex_library)
    get_property(layers GLOBAL PROPERTY TARVEX_LAYERS)
    set(dirs "")
    foreach(layer IN LISTS layers)
        get_target_property(dir tarvex_${layer} TARVEX_DIR)
        list(APPEND dirs ${dir})
    endforeach()
    foreach(layer IN LISTS layers)
        tarvex_stage_layer(${layer} "${dirs}")
    endforeach()

    if(TARVEX_STATIC)
        add_library(tarvex STATIC)
    else()
        add_library(tarvex SHARED)
    endif()
    add_library(Tarvex::tarvex ALIAS tarvex)
    set_target_properties(tarvex PROPERTIES VERSION ${PROJECT_VERSION}
                                            SOVERSION ${PROJECT_VERSION_MAJOR})

    # The umbrella header sees every layer.
    set(top ${TARVEX_LAYER_ROOT}/top/tarvex)
    file(MAKE_DIRECTORY ${top})
    file(CREATE_LINK ${CMAKE_SOURCE_DIR}/tarvex/tarvex.h ${top}/tarvex.h SYMBOLIC)
    target_include_directories(tarvex PUBLIC $<BUILD_INTERFACE:${TARVEX_LAYER_ROOT}/top>
                                             $<BUILD_INTERFACE:${TARVEX_GENERATED}>
                                             $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
    foreach(layer IN LISTS layers)
        target_sources(tarvex PRIVATE $<TARGET_OBJECTS:tarvex_${layer}>)
        target_include_directories(tarvex PUBLIC $<BUILD_INTERFACE:${TARVEX_LAYER_ROOT}/${layer}>)
    endforeach()
    target_compile_features(tarvex PUBLIC cxx_std_20)
    # System libraries by plain name, so that a static library's consumers
    # (CMake package or pkg-config) link them too.
    get_property(libs GLOBAL PROPERTY TARVEX_LIBS)
    set(TARVEX_PC_LIBS_PRIVATE "")
    if(libs)
        list(REMOVE_DUPLICATES libs)
        target_link_libraries(tarvex PRIVATE ${libs})
        foreach(lib IN LISTS libs)
            string(APPEND TARVEX_PC_LIBS_PRIVATE " -l${lib}")
        endforeach()
        string(STRIP "${TARVEX_PC_LIBS_PRIVATE}" TARVEX_PC_LIBS_PRIVATE)
    endif()

    install(TARGETS tarvex EXPORT TarvexTargets
            LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
            ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
            RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
    install(DIRECTORY ${CMAKE_SOURCE_DIR}/tarvex/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tarvex
            FILES_MATCHING PATTERN "*.h" PATTERN "*_internal.h" EXCLUDE)
    install(FILES ${TARVEX_GENERATED}/tarvex/version.h
            DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tarvex)

    include(CMakePackageConfigHelpers)
    set(cmakedir ${CMAKE_INSTALL_LIBDIR}/cmake/Tarvex)
    install(EXPORT TarvexTargets NAMESPACE Tarvex:: DESTINATION ${cmakedir})
    configure_package_config_file(${CMAKE_SOURCE_DIR}/cmake/TarvexConfig.cmake.in
                                  ${CMAKE_BINARY_DIR}/TarvexConfig.cmake INSTALL_DESTINATION ${cmakedir})
    write_basic_package_version_file(${CMAKE_BINARY_DIR}/TarvexConfigVersion.cmake
                                     COMPATIBILITY SameMajorVersion)
    install(FILES ${CMAKE_BINARY_DIR}/TarvexConfig.cmake ${CMAKE_BINARY_DIR}/TarvexConfigVersion.cmake
            DESTINATION ${cmakedir})

    file(RELATIVE_PATH TARVEX_PC_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
    configure_file(${CMAKE_SOURCE_DIR}/cmake/tarvex.pc.in ${CMAKE_BINARY_DIR}/tarvex.pc @ONLY)
    install(FILES ${CMAKE_BINARY_DIR}/tarvex.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endfunction()

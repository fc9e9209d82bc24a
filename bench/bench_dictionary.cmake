# The load is measured against pugixml parsing the same file into a DOM.
find_package(pugixml REQUIRED)
target_link_libraries(${name} PRIVATE pugixml::pugixml)

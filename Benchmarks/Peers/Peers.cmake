# What the benchmarks compare with. Without VEKO2_BENCHMARK_PEERS none is looked for, so that an
# ordinary build never compiles their headers. Included, not a directory of its own, since the
# packages' targets are known only in the directory that found them.
add_library(Veko2_BenchmarkPeers STATIC Peers/Peers.cpp Peers/Peers.h)
veko2_compile_options(Veko2_BenchmarkPeers)
target_include_directories(Veko2_BenchmarkPeers PUBLIC ${PROJECT_SOURCE_DIR})
target_link_libraries(Veko2_BenchmarkPeers PUBLIC Veko2::DataLayer)
if(NOT VEKO2_BENCHMARK_PEERS)
    return()
endif()

# Some of their packages look for libraries in C.
enable_language(C)

# veko2_add_peer(<name> LIBRARIES ...): the peer of <name>Peer.cpp, a library of its own, so that none
# is compiled with the flags of another.
function(veko2_add_peer name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "LIBRARIES")
    set(target Veko2_${name}Peer)
    add_library(${target} STATIC
        Peers/${name}Peer.cpp Peers/${name}Peer.h Peers/Peers.h Peers/ProjectToPixels.h)
    veko2_compile_options(${target})
    target_link_libraries(${target} PUBLIC Veko2::DataLayer PRIVATE ${arg_LIBRARIES})
    target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR})
    string(TOUPPER ${name} upper)
    target_compile_definitions(Veko2_BenchmarkPeers PRIVATE VEKO2_HAS_${upper})
    target_link_libraries(Veko2_BenchmarkPeers PRIVATE ${target})
endfunction()

function(veko2_report_absent name package)
    message(WARNING "${name} not found: the benchmarks run without it; Debian package ${package}")
endfunction()

find_package(nanoflann CONFIG QUIET)
if(nanoflann_FOUND)
    veko2_add_peer(Nanoflann LIBRARIES nanoflann::nanoflann)
else()
    veko2_report_absent(nanoflann libnanoflann-dev)
endif()

find_package(PCL QUIET COMPONENTS filters kdtree search segmentation)
if(PCL_FOUND)
    veko2_add_peer(Pcl LIBRARIES ${PCL_LIBRARIES})
    target_include_directories(Veko2_PclPeer SYSTEM PRIVATE ${PCL_INCLUDE_DIRS})
else()
    veko2_report_absent(PCL libpcl-dev)
endif()

find_package(Open3D CONFIG QUIET)
if(Open3D_FOUND)
    veko2_add_peer(Open3d LIBRARIES Open3D::Open3D)
else()
    veko2_report_absent(Open3D libopen3d-dev)
endif()

find_package(CGAL QUIET)
if(CGAL_FOUND)
    veko2_add_peer(Cgal LIBRARIES CGAL::CGAL)
else()
    veko2_report_absent(CGAL libcgal-dev)
endif()

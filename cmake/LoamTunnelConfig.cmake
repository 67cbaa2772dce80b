# find_package(LoamTunnel [COMPONENTS Link]): the target LoamTunnel::LoamTunnel, and LoamTunnel::Link where it is
# installed.
include(${CMAKE_CURRENT_LIST_DIR}/LoamTunnelTargets.cmake)
if(EXISTS ${CMAKE_CURRENT_LIST_DIR}/LoamTunnelLinkTargets.cmake)
  include(${CMAKE_CURRENT_LIST_DIR}/LoamTunnelLinkTargets.cmake)
  set(LoamTunnel_Link_FOUND TRUE)
endif()
foreach(COMPONENT ${LoamTunnel_FIND_COMPONENTS})
  if(LoamTunnel_FIND_REQUIRED_${COMPONENT} AND NOT LoamTunnel_${COMPONENT}_FOUND)
    set(LoamTunnel_FOUND FALSE)
    set(LoamTunnel_NOT_FOUND_MESSAGE "The component ${COMPONENT} of LoamTunnel is not installed.")
  endif()
endforeach()

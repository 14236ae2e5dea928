# Source discovery by folder. A file belongs to the library when it sits under kvdutu/, is not a
# unit test (*_test.cpp) and is not the other platform's implementation (os/posix or os/win32).
function(kvdutu_collect_sources out_sources out_headers)
  file(GLOB_RECURSE all_cpp CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/kvdutu/*.cpp")
  file(GLOB_RECURSE all_h CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/kvdutu/*.h")
  if(WIN32)
    set(other "/platform/os/posix/")
  else()
    set(other "/platform/os/win32/")
  endif()
  set(sources "")
  foreach(f IN LISTS all_cpp)
    if(f MATCHES "_test\\.cpp$" OR f MATCHES "${other}" OR f MATCHES "/testing/")
      continue()
    endif()
    list(APPEND sources "${f}")
  endforeach()
  set(headers "")
  foreach(f IN LISTS all_h)
    # Internal headers, test helpers and the platform implementations are not installed.
    if(f MATCHES "_internal\\.h$" OR f MATCHES "_test\\.h$" OR f MATCHES "/platform/os/(posix|win32)/"
       OR f MATCHES "/testing/")
      continue()
    endif()
    list(APPEND headers "${f}")
  endforeach()
  # The library's main routine is the last static constructor of the library on POSIX: its file
  # links last, so that its constructor runs after every unprioritised one (class registrations).
  list(FILTER sources EXCLUDE REGEX "/platform/framework/library_entry\\.cpp$")
  list(APPEND sources "${PROJECT_SOURCE_DIR}/kvdutu/platform/framework/library_entry.cpp")
  set(${out_sources} "${sources}" PARENT_SCOPE)
  set(${out_headers} "${headers}" PARENT_SCOPE)
endfunction()

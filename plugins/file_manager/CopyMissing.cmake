# Copies the files below FROM that do not exist below TO.
file(GLOB_RECURSE files RELATIVE ${FROM} ${FROM}/*)
foreach(file IN LISTS files)
  if(NOT EXISTS ${TO}/${file})
    get_filename_component(folder ${file} DIRECTORY)
    file(COPY ${FROM}/${file} DESTINATION ${TO}/${folder})
  endif()
endforeach()

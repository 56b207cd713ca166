# What "cmake --install" puts where, for packages and for machines without one.
include(GNUInstallDirs)
set(WIRELARK_UNIT_DIR ${CMAKE_INSTALL_PREFIX}/lib/systemd/system CACHE PATH "Folder of systemd units")

install(TARGETS wirelark wirelark-check wirelark-queue RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

set(manual ${PROJECT_SOURCE_DIR}/docs/man)
install(FILES ${manual}/wirelark.1 ${manual}/wirelark-check.1 ${manual}/wirelark-queue.1
  DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES ${manual}/wirelark.conf.5 DESTINATION ${CMAKE_INSTALL_MANDIR}/man5)

# wirelark.service, and wirelark@<name>.service with a configuration and folders of its own.
function(wirelark_unit file unit config folder text)
  set(instance_unit ${unit})
  set(instance_config ${config})
  set(instance_folder ${folder})
  set(instance_text ${text})
  configure_file(${PROJECT_SOURCE_DIR}/packaging/systemd/wirelark.service.in ${PROJECT_BINARY_DIR}/units/${file} @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/units/${file} DESTINATION ${WIRELARK_UNIT_DIR})
endfunction()
wirelark_unit(wirelark.service wirelark wirelark wirelark "")
wirelark_unit(wirelark@.service wirelark@%i %i wirelark-%i " (%i)")

install(FILES packaging/systemd/wirelark.sysusers DESTINATION lib/sysusers.d RENAME wirelark.conf)
install(FILES packaging/completion.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME wirelark)
foreach(tool check queue)
  install(CODE "file(CREATE_LINK wirelark \"\$ENV{DESTDIR}${CMAKE_INSTALL_FULL_DATADIR}/bash-completion/completions/wirelark-${tool}\" SYMBOLIC)")
endforeach()
install(FILES packaging/wirelark.conf DESTINATION ${CMAKE_INSTALL_FULL_SYSCONFDIR}/wirelark)
install(FILES packaging/apparmor/wirelark DESTINATION ${CMAKE_INSTALL_FULL_SYSCONFDIR}/apparmor.d)

# Of the package in dist/, which ./dev test makes as root. Once is enough, so not in the builds with sanitizers.
if(BUILD_TESTING AND NOT WIRELARK_SANITIZE)
  add_test(NAME package.install COMMAND ${PROJECT_SOURCE_DIR}/packaging/test-install)
  set_tests_properties(package.install PROPERTIES LABELS package SKIP_RETURN_CODE 77 TIMEOUT 900)
endif()

# The libraries and the releases of them (major.minor) that the whole suite has passed with: those of Debian 12 and of
# Debian 13. docs/dependencies.md says how that is proven, and what we rely on in each.
#  library        from   to
set(vorn_proven_versions
  log4cplus      2.0    2.0
  Xerces-C       3.2    3.2
  Xalan-C        1.12   1.12
  xml-security-c 2.0    3.0
  OpenSSL        3.0    3.5
  NSS            3.87   3.110
  libseccomp     2.5    2.6
  libassuan      2.5    3.0
  CLI11          2.1    2.4
  nlohmann-json  3.11   3.11
  GoogleTest     1.12   1.16)

# warn_unless_proven(LIBRARY VERSION): to be called where the library is found. It warns and no more: another release may
# well do.
function(warn_unless_proven library version)
  list(FIND vorn_proven_versions ${library} at)
  math(EXPR from "${at} + 1")
  math(EXPR to "${at} + 2")
  list(GET vorn_proven_versions ${from} from)
  list(GET vorn_proven_versions ${to} to)
  string(REGEX MATCH "^[0-9]+(\\.[0-9]+)?" release "${version}")
  if(at EQUAL -1 OR release STREQUAL "" OR release VERSION_LESS from OR release VERSION_GREATER to)
    message(WARNING "${library} ${version} is not among the proven releases, ${from} to ${to}: run the tests, and see docs/dependencies.md")
  endif()
endfunction()

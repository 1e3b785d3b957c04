# The floors of the source tree, enforced by the include path.
#
# Every header is included by its path from the repository root ("rfc3161/token.h"). A target does
# not get the root as its include folder: it gets a folder of its own in the build tree that holds
# links to the source folders of its floor and of the floors below it, and nothing else. An include
# that climbs to a higher floor therefore finds no file and fails to compile.
#
#   sdk/                       the Windows SDK and ATL stand-ins (the real SDK on Windows)
#   outside/ztlib              value types
#   outside/asn1rt             the BER runtime: bounded reader, DER writer, codec memory
#   outside/asn1               the message codec, one structure and codec per ASN.1 type
#   outside/ztasn1             the ASN.1 object types and their conversions to the codec's structures
#   platform/                  the Windows cryptographic functions on OpenSSL (Linux only)
#   frame/                     error helpers, library entry, CMS signing parameters
#   rfc3161/, authenticode/    the exported message classes (neither sees the other)
#   capi/                      the C interface over them
#   tools/                     the zttsp program and server
# frame and the message classes reach the platform only through the SDK's declarations, as they
# reach Windows itself; the program may also use the platform's own public header
# (platform/key_provider.h) and its OpenSSL helpers.

set(ZTTSP_LAYER_ROOT ${PROJECT_BINARY_DIR}/layers)

# zttsp_layer(NAME folder...): ${ZTTSP_LAYER_ROOT}/NAME with a link to each source folder.
function(zttsp_layer name)
  set(root ${ZTTSP_LAYER_ROOT}/${name})
  file(REMOVE_RECURSE ${root})
  foreach(folder ${ARGN})
    get_filename_component(parent ${root}/${folder} DIRECTORY)
    file(MAKE_DIRECTORY ${parent})
    file(CREATE_LINK ${PROJECT_SOURCE_DIR}/${folder} ${root}/${folder} SYMBOLIC)
  endforeach()
endfunction()

# zttsp_layer_includes(TARGET NAME [PUBLIC|PRIVATE|INTERFACE]): the layer as the target's includes.
function(zttsp_layer_includes target name)
  set(scope PRIVATE)
  if(ARGC GREATER 2)
    set(scope ${ARGV2})
  endif()
  target_include_directories(${target} ${scope} $<BUILD_INTERFACE:${ZTTSP_LAYER_ROOT}/${name}>)
endfunction()

zttsp_layer(sdk sdk)
zttsp_layer(ztlib sdk outside/ztlib)
zttsp_layer(asn1rt sdk outside/ztlib outside/asn1rt)
zttsp_layer(asn1 sdk outside/ztlib outside/asn1rt outside/asn1)
zttsp_layer(outside sdk outside)
zttsp_layer(platform sdk outside platform)
zttsp_layer(frame sdk outside frame)
zttsp_layer(rfc3161 sdk outside frame rfc3161)
zttsp_layer(authenticode sdk outside frame authenticode)
# The C interface reaches the platform only for key_provider.h, Linux's way to a provider.
if(WIN32)
  zttsp_layer(capi sdk outside frame rfc3161 authenticode capi)
  zttsp_layer(api sdk outside frame rfc3161 authenticode capi)
  zttsp_layer(tools sdk outside frame rfc3161 authenticode tools)
else()
  zttsp_layer(capi sdk outside platform frame rfc3161 authenticode capi)
  zttsp_layer(api sdk outside platform frame rfc3161 authenticode capi)
  zttsp_layer(tools sdk outside platform frame rfc3161 authenticode tools)
endif()

# C programs include the C interface as it is installed, <zttsp/zttsp.h>, and see nothing else.
set(ZTTSP_C_CLIENT_INCLUDE ${ZTTSP_LAYER_ROOT}/c_client)
file(REMOVE_RECURSE ${ZTTSP_C_CLIENT_INCLUDE})
file(MAKE_DIRECTORY ${ZTTSP_C_CLIENT_INCLUDE}/zttsp)
file(CREATE_LINK ${PROJECT_SOURCE_DIR}/capi/zttsp.h ${ZTTSP_C_CLIENT_INCLUDE}/zttsp/zttsp.h SYMBOLIC)

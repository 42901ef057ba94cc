# What HandshakeTarget.cpp and ZapTarget.cpp need of the transport.
set(zeromq "${PROJECT_SOURCE_DIR}/framework/bundles/providers/zeromq")
set(SPF_HANDSHAKE_FOLDERS "${zeromq}")
set(SPF_HANDSHAKE_SOURCES "${zeromq}/judgeHandshake.cpp")
set(SPF_HANDSHAKE_LIBRARIES spf::security)
set(SPF_ZAP_SOURCES ${SPF_HANDSHAKE_SOURCES} "${zeromq}/ZapHandler.cpp")
set(SPF_ZAP_LIBRARIES ${SPF_HANDSHAKE_LIBRARIES} cppzmq)

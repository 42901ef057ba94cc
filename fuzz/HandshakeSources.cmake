# What HandshakeTarget.cpp needs of the transport.
set(zeromq "${PROJECT_SOURCE_DIR}/framework/bundles/providers/zeromq")
set(SPF_HANDSHAKE_FOLDERS "${zeromq}")
set(SPF_HANDSHAKE_SOURCES "${zeromq}/judgeHandshake.cpp")
set(SPF_HANDSHAKE_LIBRARIES spf::security)

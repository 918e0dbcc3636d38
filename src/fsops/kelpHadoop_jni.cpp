// JNI entry points of the library state: the connection entry point.

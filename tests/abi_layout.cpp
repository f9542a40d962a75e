// The record layout checks of abi_layout.c, seen by a C++11 compiler.
#include "abi_layout.c"

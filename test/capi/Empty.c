/// @file
/// Nothing of its own: what a header that is included from the command line needs to be compiled.
typedef int Empty;

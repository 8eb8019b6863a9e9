#include "cli.h"

int main(int argc, char** argv) { return libmfx::host::Run(argc, argv); }

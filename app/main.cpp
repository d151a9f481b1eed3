#include "app/Startup.h"

int main(int argc, char** argv) { return zeb::RunAgent(argc, argv); }

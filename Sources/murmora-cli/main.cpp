#include "Cli/CommandLine.h"

int main(int argc, char* argv[]) {
    return murmora::runCommandLineApplication(argc, argv);
}

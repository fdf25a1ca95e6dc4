#include "Window/Application.h"

int main(int argc, char* argv[]) {
    return murmora::runApplication(argc, argv);
}

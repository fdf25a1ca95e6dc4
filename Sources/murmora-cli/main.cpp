#include "Cli/CommandLine.h"

#include <QCoreApplication>
#include <iostream>

int main(int argc, char* argv[]) {
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Murmora"));
    QCoreApplication::setOrganizationName(QStringLiteral("Murmora"));
    return murmora::runCommandLine(QCoreApplication::arguments(), std::cout, std::cerr);
}

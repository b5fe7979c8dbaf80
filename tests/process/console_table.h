/// \file
/// The files that the serial console is switched by.
#ifndef GPAL_TESTS_PROCESS_CONSOLE_TABLE_H
#define GPAL_TESTS_PROCESS_CONSOLE_TABLE_H

#include <string>

const std::string TABLE = "/etc/inittab";
const std::string NEW_TABLE = "/etc/inittab.new";

#endif

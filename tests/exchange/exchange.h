/// \file
/// What programs on different processors write for each other. Every kind of file is written with
/// the same content everywhere, and read with the layer by whoever wants to know.
#ifndef GPAL_TESTS_EXCHANGE_EXCHANGE_H
#define GPAL_TESTS_EXCHANGE_EXCHANGE_H

#include <string>

namespace exchange
{

/// Notes a failure, and says what failed, unless \p holds.
void expect(bool holds, const std::string& what);

/// Bytes of all values, \p count of them.
std::string bytes(std::size_t count);

void writeCapture(const std::string& folder);
void checkCapture(const std::string& folder);

void writeRecords(const std::string& folder);
void checkRecords(const std::string& folder);

void writeArchives(const std::string& folder);
void checkArchives(const std::string& folder);

} // namespace exchange

#endif

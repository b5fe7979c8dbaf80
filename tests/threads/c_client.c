#include "threads/c_client.h"

#include <stdarg.h>
#include <stddef.h>

#include <gpal/semaphore_c_api.h>
#include <gpal/syslogger.h>

/* The number of the first result that differs from what was expected, counted from 1; 0 when all
   are as expected. */
static int firstDifference(const int* results, const int* expected, int size)
{
    for (int step = 0; step < size; ++step) {
        if (results[step] != expected[step]) {
            return step + 1;
        }
    }
    return 0;
}

int useCountingSemaphore(void)
{
    void* semaphore = new_Semaphore(1, 2);
    int results[8];
    results[0] = semaphore != NULL;
    results[1] = take_Semaphore(semaphore, -1);
    results[2] = take_Semaphore(semaphore, 0);
    results[3] = give_Semaphore(semaphore);
    results[4] = give_Semaphore(semaphore);
    results[5] = take_Semaphore(semaphore, 1);
    results[6] = take_Semaphore(semaphore, 1);
    results[7] = take_Semaphore(semaphore, 1);
    delete_Semaphore(semaphore);
    const int expected[8] = {1, 1, 0, 1, 1, 1, 1, 0};
    return firstDifference(results, expected, 8);
}

int useReentrantSemaphore(void)
{
    void* semaphore = new_RSemaphore(1, 5);
    int results[5];
    results[0] = semaphore != NULL;
    results[1] = take_Semaphore(semaphore, -1);
    results[2] = take_Semaphore(semaphore, -1);
    results[3] = give_Semaphore(semaphore);
    results[4] = give_Semaphore(semaphore);
    delete_Semaphore(semaphore);
    const int expected[5] = {1, 1, 1, 1, 1};
    return firstDifference(results, expected, 5);
}

int useNoSemaphore(void)
{
    int results[3];
    results[0] = take_Semaphore(NULL, -1);
    results[1] = take_Semaphore(NULL, 0);
    results[2] = give_Semaphore(NULL);
    delete_Semaphore(NULL);
    const int expected[3] = {0, 0, 0};
    return firstDifference(results, expected, 3);
}

void logAtEachSeverity(void)
{
    syslogger_emergency("%s %d", "emergency", 0);
    syslogger_error("%s %d", "error", 3);
    syslogger_warning("%s %d", "warning", 4);
    syslogger_notice("%s %d", "notice", 5);
    syslogger_info("%s %d", "info", 6);
    syslogger_debug("%s %d", "debug", 7);
}

void logGathered(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    vsyslogger_debug(format, arguments);
    va_end(arguments);
}

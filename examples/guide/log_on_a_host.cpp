#include <syslog.h>

#include <gpal/gpal.h>

int main()
{
    openlog("guide", LOG_PERROR, LOG_USER); // to standard error too, after the program's name
    syslogger_warning("Line %d is engaged", 2);
    FileManager().copyFile("missing", "copy"); // the layer's own failures come out in the same way
}

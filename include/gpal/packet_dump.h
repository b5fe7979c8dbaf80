/// \file
/// Packet captures: application payloads wrapped into Ethernet, IPv4 and UDP or TCP headers, in the
/// classic libpcap format (microseconds, little-endian, link type Ethernet), byte for byte the same
/// from every processor.
#ifndef GPAL_PACKET_DUMP_H
#define GPAL_PACKET_DUMP_H

#include <memory>

#include <gpal/export.h>

/// How a payload is wrapped.
enum t_packet_dump_type : int {
    PACKET_DUMP_UDP = 0,         ///< UDP (RFC 768), port 5120 to 5120
    PACKET_DUMP_TCP_FORWARD = 1, ///< TCP (RFC 9293), port 1063 to 4060
    PACKET_DUMP_TCP_REVERSE = 2, ///< TCP, port 4060 to 1063
    PACKET_DUMP_OTHER = 3        ///< no transport header; when reading, any record but UDP
};

/// Writes a capture file, or reads one: the first call decides, and the other function returns -1
/// for the object's life.
///
/// Any number of threads may use one object, save for the first call, which opens the file. One
/// record is written or read at a time. No function is a cancellation point: a thread that is
/// cancelled finishes its record first. Errors of the file system beyond those named are not
/// reported, and `errno` means nothing. Where there is no memory to open the file,
/// `std::bad_alloc` is thrown, and the object is as it was.
///
/// What is written last may stay in memory until the destructor, an `fflush(nullptr)` of any thread
/// or an `exit`. A child made by `fork` has a copy of it, which it must not write: it ends by
/// `execve` or `_exit`.
class GPAL_API packet_dump
{
public:
    /// Remembers the name of the file (it is copied); opens nothing.
    explicit packet_dump(char* file);
    packet_dump(const packet_dump&) = delete;
    packet_dump& operator=(const packet_dump&) = delete;
    /// Closes the file.
    ~packet_dump();

    /// Appends one record, stamped with the current time. The first call makes the file, or
    /// empties it.
    ///
    /// TCP records are numbered from 0 through their source address; all other addresses are zero.
    /// Checksums of UDP and TCP are left out (0). Records beyond 65,535 bytes are written whole,
    /// but their headers' 16-bit lengths wrap.
    ///
    /// \param payload \p length bytes
    /// \return \p length; -1 when there is no open file, for a null payload or a negative length,
    ///         and on an object that reads
    int write(char* payload, int length, t_packet_dump_type type);

    /// Reads the next record of a file of this format, from whatever program. An 802.1Q tag is
    /// skipped.
    ///
    /// \param buffer takes the payload of a UDP record, at most \p size bytes
    /// \param type   takes `PACKET_DUMP_UDP`, or `PACKET_DUMP_OTHER` for a record that was skipped
    /// \return the payload's bytes; 0 for a skipped record; -1 at the end of the file, when there
    ///         is no open file, for a null argument, and on an object that writes. A record that
    ///         is cut short, and one too big for \p buffer (-1, with a line on standard output that
    ///         says what it needs), end the reading for good.
    int read(char* buffer, int size, t_packet_dump_type* type);

private:
    struct GPAL_INTERNAL Implementation;
    std::unique_ptr<Implementation> m_implementation;
};

extern "C" {

/// The Internet checksum (RFC 1071) of \p length bytes, summed in network order: to be stored high
/// byte first. A last odd byte counts as a number from 0 to 255, unlike in the RFC. 0xFFFF for no
/// bytes, which a null \p data and a length below 0 count as. Callable from any thread.
GPAL_API unsigned short checksum_1(unsigned char* data, int length);

/// A number of which the bytes in memory are those of \p value in little-endian order. Callable
/// from any thread.
GPAL_API int host_to_little_endian_long(int value);

/// The number whose bytes in memory are those of \p value, taken in little-endian order. Callable
/// from any thread.
GPAL_API int little_endian_to_host_long(int value);
}

#endif

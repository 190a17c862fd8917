#pragma once

#include "codec/wireform_p.h"

#include <QByteArray>
#include <QtEndian>

#include <algorithm>
#include <cstring>
#include <memory>

namespace LxWireForm {

/// A growing buffer of CBOR.
class Output
{
public:
    size_t size() const { return m_size; }
    QByteArray copy() const { return QByteArray(m_bytes.get(), static_cast<int>(m_size)); }

    /// Keeps the memory for the next message if it is at most 1 MiB.
    void clear()
    {
        constexpr size_t MaxRetained = size_t(1024) * 1024;
        m_size = 0;
        if (m_capacity > MaxRetained) {
            m_bytes.reset();
            m_capacity = 0;
        }
    }

    /// Reserves `size` bytes and returns their start; commit() appends those that were written.
    char *room(size_t size)
    {
        if (m_capacity - m_size < size)
            grow(size);
        return m_bytes.get() + m_size;
    }
    void commit(const char *end) { m_size = static_cast<size_t>(end - m_bytes.get()); }

    void append(const char *bytes, size_t size)
    {
        char *at = room(size);
        std::memcpy(at, bytes, size);
        commit(at + size);
    }

    void appendByte(quint8 byte)
    {
        char *at = room(1);
        *at = static_cast<char>(byte);
        commit(at + 1);
    }

    void appendHead(Major major, quint64 number) { commit(writeHead(room(MaxHeadBytes), major, number)); }

    /// Inserts the head of an array at `position`, in front of its elements.
    void insertArrayHead(size_t position, quint64 count)
    {
        char head[MaxHeadBytes];
        const auto headSize = static_cast<size_t>(writeHead(head, Array, count) - head);
        char *end = room(headSize);
        char *at = m_bytes.get() + position;
        std::memmove(at + headSize, at, static_cast<size_t>(end - at));
        std::memcpy(at, head, headSize);
        commit(end + headSize);
    }

    static constexpr size_t MaxHeadBytes = 9;

    /// Writes the shortest head and returns its end.
    static char *writeHead(char *at, Major major, quint64 number)
    {
        if (number <= LargestInPlace) {
            *at++ = static_cast<char>(major | number);
        } else if (number <= 0xff) {
            *at++ = static_cast<char>(major | OneByte);
            *at++ = static_cast<char>(number);
        } else if (number <= 0xffff) {
            *at++ = static_cast<char>(major | TwoBytes);
            qToBigEndian(static_cast<quint16>(number), at);
            at += sizeof(quint16);
        } else if (number <= 0xffffffff) {
            *at++ = static_cast<char>(major | FourBytes);
            qToBigEndian(static_cast<quint32>(number), at);
            at += sizeof(quint32);
        } else {
            *at++ = static_cast<char>(major | EightBytes);
            qToBigEndian(number, at);
            at += sizeof(quint64);
        }
        return at;
    }

private:
    void grow(size_t size)
    {
        constexpr size_t Least = 4096;
        const size_t capacity = std::max({ Least, 2 * m_capacity, m_size + size });
        std::unique_ptr<char[]> bytes(new char[capacity]);
        if (m_size > 0)
            std::memcpy(bytes.get(), m_bytes.get(), m_size);
        m_bytes = std::move(bytes);
        m_capacity = capacity;
    }

    std::unique_ptr<char[]> m_bytes;
    size_t m_capacity = 0;
    size_t m_size = 0;
};

} // namespace LxWireForm

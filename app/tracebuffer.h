// Traces that have not been written yet.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

/// A queue of text. The oldest lines can be left out; one line in their place says how many bytes.
class CTraceBuffer {
  public:
    size_t size() const { return m_end - m_begin; }
    /// Bytes that can be pushed.
    size_t room() const { return capacity > size() ? capacity - size() : 0; }

    /// Appends a text for which there is room.
    void push(std::string_view text);
    /// What is to be written next; valid until the buffer changes. Empty when there is nothing.
    std::string_view front();
    /// Takes the first `count` bytes of that away: they have been written.
    void pop(size_t count);
    /// Leaves out the oldest whole lines, `needed` bytes of them or more. The rest of a line whose
    /// beginning has been written stays, if there is enough behind it.
    void dropOldest(size_t needed);

  protected:
    static constexpr size_t capacity = 98304;
    static constexpr size_t gap_text_max = 64;

    size_t lineEnd(size_t from) const;
    void moveToFront();

    // A gap's text that was written in part goes on at the front, full or not; hence twice the
    // room.
    std::array<char, capacity + 2 * gap_text_max> m_text;
    std::array<char, gap_text_max> m_gapText;
    size_t m_begin = gap_text_max;
    size_t m_end = gap_text_max;
    size_t m_lost = 0;           ///< bytes left out, at the front or behind the line begun there
    bool m_isLineBegun = false;  ///< the beginning of the first line has been written
};

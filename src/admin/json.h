// One JSON object on standard output, in ASCII: every pipe of Windows reads the bytes of other
// characters in its own way. RFC 8259.
#pragma once

#include <cstddef>

class JsonWriter {
  public:
    JsonWriter() = default;
    JsonWriter(const JsonWriter&) = delete;
    JsonWriter& operator=(const JsonWriter&) = delete;
    ~JsonWriter();  // ends the line

    // name: of a member of an object; null for an element of an array and for the whole.
    void beginObject(const char* name = nullptr);
    void endObject();
    void beginArray(const char* name);
    void endArray();
    void text(const char* name, const char* value);  // ANSI; a null value is null
    void number(const char* name, long value);
    void boolean(const char* name, bool value);
    void null(const char* name);

  private:
    void begin(const char* name, char bracket);
    void end(char bracket);
    void put(const char* name);
    void putText(const char* value);
    bool onOwnLines() const;

    int depth_ = 0;
    bool first_ = true;
    bool inArray_ = false;  // the member of the whole that is being written is an array
};

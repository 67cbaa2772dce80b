#pragma once

/// The exceptions of the library: whatever a caller or a peer can cause leaves as one of these.
///
///     try { lif.bankIs(9); } catch (Kor::RangeException const& e) { std::puts(e.what()); }
///
/// An exception carries a message, the set of its ids (a class adds its own to those of its base), and a
/// counted reference to an object with details, which may be null. Copying allocates nothing and cannot fail.
///
/// Kor::Expect is a scope guard that says which exception the code around it is prepared for:
///
///     try { Kor::Expect guard(Kor::Exception::range); key = kindInstance(raw); }
///     catch (Kor::RangeException const&) { unknownEnumsInc(1); }
///
/// An exception that was made while no guard of its thread expected one of its ids is counted, see
/// `Exception::unexpectedCount()`: a peer that sends odd data all day is then told from a fault of our own.

#include "runtime/PtrInterface.h"
#include "runtime/String8.h"

#include <exception>

namespace Kor {

class [[gnu::visibility("default")]] Exception : public std::exception {
public:
    /// What an exception is about, 0 to 63. The numbers are part of traces and guards, never of the wire.
    enum Id : unsigned int {
        any = 0, // of a guard: whatever comes is contained
        internal = 1,
        range = 12,
        nameInUse = 16,
        entityIdUnavailable = 17,
        attrLogEntity = 42,
        attrLogRecord = 48,
    };

    /// A set of ids.
    class IdBitArray {
    public:
        constexpr IdBitArray() noexcept = default;
        constexpr IdBitArray(IdBitArray const&) noexcept = default;
        constexpr IdBitArray& operator=(IdBitArray const&) noexcept = default;
        constexpr IdBitArray& add(Id id) noexcept {
            bits_ |= U64{1} << (id & 63U);
            return *this;
        }
        constexpr bool has(Id id) const noexcept { return (bits_ >> (id & 63U) & 1U) != 0; }
        constexpr U64 bits() const noexcept { return bits_; }

    private:
        U64 bits_ = 0;
    };

    /// With `counted`, the exception takes part in `unexpectedCount()`.
    Exception(String8 message, IdBitArray ids, bool counted);
    Exception(Exception const& other) noexcept;
    Exception& operator=(Exception const& other) noexcept;
    ~Exception() override;

    String8 const& message() const noexcept {
        return message_;
    }
    char const* what() const noexcept override {
        return message_.charPtr();
    }
    IdBitArray ids() const noexcept {
        return ids_;
    }

    /// An object that tells more, or null.
    PtrInterface const* detail() const noexcept {
        return detail_;
    }
    void detailIs(PtrInterface const* detail) noexcept;

    /// How many counted exceptions this process has made while nothing expected them. Any thread.
    static U64 unexpectedCount() noexcept;

private:
    String8 message_;
    PtrInterface const* detail_ = nullptr;
    IdBitArray ids_;
};

/// A value outside its declared range, a null ValidPtr, a text that does not parse. Id 12.
class [[gnu::visibility("default")]] RangeException : public Exception {
public:
    explicit RangeException(String8 message, IdBitArray ids = {})
        : Exception(message, ids.add(range), true) {}
    ~RangeException() override;
};

/// A stream record names an entity of the wrong type. Id 42.
class [[gnu::visibility("default")]] AttrLogEntityException : public Exception {
public:
    explicit AttrLogEntityException(String8 message = "Entity is the wrong type", IdBitArray ids = {})
        : Exception(message, ids.add(attrLogEntity), true) {}
    ~AttrLogEntityException() override;
};

/// A record that is being written has to be started again. Id 48; part of the normal course, never counted.
class [[gnu::visibility("default")]] AttrLogRecordException : public Exception {
public:
    explicit AttrLogRecordException(String8 message, IdBitArray ids = {})
        : Exception(message, ids.add(attrLogRecord), false) {}
    ~AttrLogRecordException() override;
};

/// An entity has no id on the stream yet. Ids 17 and 48: whoever writes a record expects it; never counted.
class [[gnu::visibility("default")]] EntityIdUnavailableException : public Exception {
public:
    explicit EntityIdUnavailableException(String8 message, IdBitArray ids = {})
        : Exception(message, ids.add(entityIdUnavailable).add(attrLogRecord), false) {}
    ~EntityIdUnavailableException() override;
};

/// The name of a new entity is taken. Id 16.
class [[gnu::visibility("default")]] NameInUseException : public Exception {
public:
    explicit NameInUseException(String8 message, IdBitArray ids = {})
        : Exception(message, ids.add(nameInUse), true) {}
    ~NameInUseException() override;
};

/// The program found itself in a state that it rules out. Id 1.
class [[gnu::visibility("default")]] InternalException : public Exception {
public:
    explicit InternalException(String8 message, IdBitArray ids = {})
        : Exception(message, ids.add(internal), true) {}
    ~InternalException() override;
};

[[noreturn, gnu::cold, gnu::visibility("default")]] void throwRangeException(char const* message);
[[noreturn, gnu::cold, gnu::visibility("default")]] void throwRangeException(String8 const& message);
[[noreturn, gnu::cold, gnu::visibility("default")]] void throwInternalException(char const* message);
[[noreturn, gnu::cold, gnu::visibility("default")]] void throwInternalException(String8 const& message);

/// States, for its scope and thread, that an exception with this id is expected; id 0 (`Exception::any`)
/// stands for all. Guards nest: an exception is expected when any guard around it says so. Costs a few
/// nanoseconds.
class [[gnu::visibility("default")]] Expect {
public:
    explicit Expect(Exception::Id id) noexcept;
    ~Expect();
    Expect(Expect const&) = delete;
    Expect& operator=(Expect const&) = delete;

    /// True when a guard of this thread expects one of the ids.
    static bool isExpected(Exception::IdBitArray ids) noexcept;

private:
    Exception::Id id_;
    Expect const* outer_;
};

} // namespace Kor

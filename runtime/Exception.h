#pragma once

/// The exceptions of the library: every error that a caller or a peer can cause.
///
///     try {
///         index.indexIs(5000);
///     } catch (Kor::RangeException const& error) {
///         std::puts(error.what());
///     }
///
/// Kor::Exception derives from std::exception; `message()` has the text as a Kor::String8 and `what()` as a C
/// string, both the words that the operation documents. The classes tell errors apart in a catch; the ids
/// tell them apart where a class can not (`hasId`), and in Kor::Expect. A contract that is broken is no
/// exception: see runtime/Contract.h.
///
/// An exception holds a counted text. It may pass from thread to thread as counted objects may
/// (runtime/VFPtrInterface.h).

#include "runtime/Ptr.h"
#include "runtime/String8.h"

#include <exception>

namespace Kor {

class KOR_EXPORT Exception : public std::exception {
public:
    /// The kinds of errors, numbered. 0 names none.
    enum class Id : U32 {
        none = 0,
        internal = 1,
        range = 12,
        nameInUse = 16,
        attrLogEntity = 42,
        attrLogRecord = 48,
        entityIdUnavailable = 49,
        generic = 60,
    };

    /// A set of ids, 0 to 63.
    class KOR_EXPORT IdBitArray {
    public:
        constexpr IdBitArray() noexcept = default;
        constexpr IdBitArray& add(Id id) noexcept {
            bits_ |= bit(id);
            return *this;
        }
        constexpr bool has(Id id) const noexcept { return (bits_ & bit(id)) != 0; }
        friend constexpr bool operator==(IdBitArray, IdBitArray) noexcept = default;

    private:
        static constexpr U64 bit(Id id) noexcept { return U64{1} << (static_cast<U32>(id) & 63); }

        U64 bits_ = 0;
    };

    /// What an exception carries besides its text. Copies of the exception share it.
    class KOR_EXPORT Detail : public PtrInterface {
    public:
        Detail(IdBitArray ids, bool byCaller) noexcept : ids_(ids), byCaller_(byCaller) {}
        IdBitArray ids() const noexcept { return ids_; }
        bool byCaller() const noexcept { return byCaller_; }

    private:
        IdBitArray ids_;
        bool byCaller_;
    };

    /// `byCaller` tells whether a caller or a peer caused the error; false says that this library is to
    /// blame.
    Exception(String8 message, IdBitArray ids, bool byCaller);
    Exception(Exception const& other) noexcept = default;
    Exception& operator=(Exception const& other) noexcept = default;
    ~Exception() override;

    String8 const& message() const noexcept { return message_; }
    char const* what() const noexcept override;
    IdBitArray ids() const noexcept { return detail_->ids(); }
    bool hasId(Id id) const noexcept { return detail_->ids().has(id); }
    bool byCaller() const noexcept { return detail_->byCaller(); }

private:
    String8 message_;
    Ptr<Detail const> detail_;
};

/// A value outside of its range, a null Kor::ValidPtr, a text that does not parse. Id 12.
class KOR_EXPORT RangeException : public Exception {
public:
    explicit RangeException(String8 message, IdBitArray ids = {})
        : Exception(std::move(message), ids.add(Id::range), true) {}
};

/// A record names an entity of the wrong type. Id 42.
class KOR_EXPORT AttrLogEntityException : public Exception {
public:
    explicit AttrLogEntityException(String8 message = "Entity is the wrong type", IdBitArray ids = {})
        : Exception(std::move(message), ids.add(Id::attrLogEntity), true) {}
};

/// A record could not be written as begun and has to be begun again. Id 48.
class KOR_EXPORT AttrLogRecordException : public Exception {
public:
    explicit AttrLogRecordException(String8 message, IdBitArray ids = {})
        : Exception(std::move(message), ids.add(Id::attrLogRecord), true) {}
};

/// An entity has no id on a stream yet. Ids 48 and 49.
class KOR_EXPORT EntityIdUnavailableException : public Exception {
public:
    explicit EntityIdUnavailableException(String8 message, IdBitArray ids = {})
        : Exception(std::move(message), ids.add(Id::attrLogRecord).add(Id::entityIdUnavailable), true) {}
};

/// The name of a new entity is taken. Id 16.
class KOR_EXPORT NameInUseException : public Exception {
public:
    explicit NameInUseException(String8 message, IdBitArray ids = {})
        : Exception(std::move(message), ids.add(Id::nameInUse), true) {}
};

/// The library found itself in a state that it should never be in. Id 1.
class KOR_EXPORT InternalException : public Exception {
public:
    explicit InternalException(String8 message, IdBitArray ids = {})
        : Exception(std::move(message), ids.add(Id::internal), false) {}
};

[[noreturn, gnu::cold]] KOR_EXPORT void throwRangeException(char const* message);
[[noreturn, gnu::cold]] KOR_EXPORT void throwRangeException(String8 const& message);
[[noreturn, gnu::cold]] KOR_EXPORT void throwInternalException(char const* message);
[[noreturn, gnu::cold]] KOR_EXPORT void throwInternalException(String8 const& message);

/// States for a scope which exception the code around it is prepared for.
///
///     Kor::Expect const expect(Kor::Exception::Id::range);
///
/// It catches nothing. Who reports exceptions can ask isExpected() whether somebody up the stack of this
/// thread will deal with one. Id 0 stands for "any": so do the guards around reactors, whose exceptions are
/// all contained. The guards of a thread nest; make them on the stack only.
class KOR_EXPORT Expect {
public:
    explicit Expect(Exception::Id id) noexcept : outer_(innermost), id_(id) { innermost = this; }
    ~Expect() { innermost = outer_; }
    Expect(Expect const&) = delete;
    Expect& operator=(Expect const&) = delete;

    /// Whether a guard of this thread expects an exception with one of these ids.
    static bool isExpected(Exception::IdBitArray ids) noexcept;

private:
    // One around each call of a handler: kept where a thread reaches it without a call.
    [[gnu::tls_model("initial-exec")]] KOR_EXPORT static constinit thread_local Expect const* innermost;

    Expect const* outer_;
    Exception::Id id_;
};

} // namespace Kor

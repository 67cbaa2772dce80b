#pragma once

/// The exceptions that a caller or a peer can cause.
///
///     try {
///         index.indexIs(300);
///     } catch (Kor::RangeException const& refused) {
///         log(refused.what());            // the words, also as message()
///     }
///
/// Each carries a set of numbers, its ids; a class of the family adds its own. A broken contract is no
/// exception, see runtime/Contract.h.

#include "runtime/PtrInterface.h"
#include "runtime/String8.h"

#include <exception>

namespace Kor {

class [[gnu::visibility("default")]] Exception : public std::exception {
public:
    using Id = U32;

    /// A set of ids from 0 to 63.
    class IdBitArray {
    public:
        constexpr IdBitArray() = default;
        constexpr IdBitArray& add(Id id) {
            bits_ |= U64{1} << (id & 63);
            return *this;
        }
        constexpr bool has(Id id) const { return ((bits_ >> (id & 63)) & 1) != 0; }

    private:
        U64 bits_ = 0;
    };

    static constexpr Id internalId = 1;
    static constexpr Id rangeId = 12;
    static constexpr Id attrLogRecordId = 16;
    static constexpr Id nameInUseId = 20;
    static constexpr Id attrLogEntityId = 42;
    static constexpr Id entityIdUnavailableId = 48;

    /// `foreseen` tells errors that callers and peers cause from those that are this process's own.
    Exception(String8 message, IdBitArray ids, bool foreseen);
    Exception(Exception const& other);
    Exception& operator=(Exception const&) = delete;
    ~Exception() override;

    String8 const& message() const {
        return message_;
    }
    char const* what() const noexcept override {
        return message_.charPtr();
    }
    IdBitArray const& ids() const {
        return ids_;
    }
    bool isForeseen() const {
        return foreseen_;
    }

    /// An object that says more about the error, or null.
    PtrInterface const* detail() const {
        return detail_;
    }
    void detailIs(PtrInterface const* detail);

private:
    String8 message_;
    PtrInterface const* detail_ = nullptr;
    IdBitArray ids_;
    bool foreseen_;
};

/// A member of the family: a name and an id.
template <Exception::Id Number, bool Foreseen, class Tag>
class [[gnu::visibility("default")]] ExceptionOf : public Exception{
    public : explicit ExceptionOf(String8 message, IdBitArray ids = IdBitArray()) :
        Exception(std::move(message), ids.add(Number), Foreseen){}
};

/// A value outside its range, a null Kor::ValidPtr, a text that does not parse.
class [[gnu::visibility("default")]] RangeException
    : public ExceptionOf<Exception::rangeId, true, RangeException> {
public:
    using ExceptionOf::ExceptionOf;
};

/// A record of the attribute log names an entity of the wrong class.
class [[gnu::visibility("default")]] AttrLogEntityException
    : public ExceptionOf<Exception::attrLogEntityId, true, AttrLogEntityException> {
public:
    using ExceptionOf::ExceptionOf;
};

/// A record of the attribute log is short, long or senseless; or one that is being written has to be begun
/// anew.
class [[gnu::visibility("default")]] AttrLogRecordException
    : public ExceptionOf<Exception::attrLogRecordId, true, AttrLogRecordException> {
public:
    using ExceptionOf::ExceptionOf;
};

/// An entity has no id on a stream yet.
class [[gnu::visibility("default")]] EntityIdUnavailableException
    : public ExceptionOf<Exception::entityIdUnavailableId, true, EntityIdUnavailableException> {
public:
    using ExceptionOf::ExceptionOf;
};

/// The name of a new entity is taken.
class [[gnu::visibility("default")]] NameInUseException
    : public ExceptionOf<Exception::nameInUseId, true, NameInUseException> {
public:
    using ExceptionOf::ExceptionOf;
};

/// An error of this process's own making.
class [[gnu::visibility("default")]] InternalException
    : public ExceptionOf<Exception::internalId, false, InternalException> {
public:
    using ExceptionOf::ExceptionOf;
};

[[noreturn, gnu::visibility("default"), gnu::cold]] void throwRangeException(char const* words);
[[noreturn, gnu::visibility("default"), gnu::cold]] void throwRangeException(String8 const& words);
[[noreturn, gnu::visibility("default"), gnu::cold]] void throwInternalException(char const* words);
[[noreturn, gnu::visibility("default"), gnu::cold]] void throwInternalException(String8 const& words);

/// States, for a scope, that an exception of that id is expected; id 0 stands for any. A debugger or a report
/// of an exception can ask; nothing else depends on it. Scopes nest, each thread has its own.
class [[gnu::visibility("default")]] Expect {
public:
    explicit Expect(Exception::Id id) : id_(id), outer_(innermost_) {
        innermost_ = this;
    }
    ~Expect() {
        innermost_ = outer_;
    }
    Expect(Expect const&) = delete;
    Expect& operator=(Expect const&) = delete;

    /// Whether some scope around the caller expects that id.
    static bool isExpected(Exception::Id id) noexcept;

private:
    static thread_local Expect const* innermost_;

    Exception::Id id_;
    Expect const* outer_;
};

} // namespace Kor

#pragma once

/// Counted objects that tell how many of them are alive.

#include "runtime/Ptr.h"

#include <functional>
#include <stdexcept>

struct Probe : Kor::PtrInterface {
    explicit Probe(int theValue = 0) : value(theValue) {
        if (theValue < 0) {
            throw std::invalid_argument("negative");
        }
        ++alive;
    }
    ~Probe() override {
        --alive;
        if (onEnd) {
            onEnd(*this);
        }
    }
    void zeroReferencesIs(bool) override {
        ++zeroHooks;
        if (onZero) {
            onZero(*this);
        }
    }

    static inline int alive = 0;

    int value;
    int zeroHooks = 0;
    Kor::Ptr<Probe> other;
    std::function<void(Probe&)> onZero, onEnd;
};

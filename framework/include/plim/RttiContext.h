/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <array>
#include <cstddef>
#include <string>

namespace com::vyr::plim {

/**
 * Type tags for a build without the compiler's run-time type information.
 *
 * Every constructor along a class chain calls enableRtti() with its class's static RTTI_TYPE,
 * base first, so an object answers isType() true for its own class and each tagged base.
 * Receivers check a tag before they downcast (static_cast) a Param or a Handler.
 *
 * The tags are kept as pointers to the classes' static RTTI_TYPE strings, not as copies: a tagged
 * object is built for every request, and copying names would cost heap allocations on that path.
 * A tag must therefore outlive the object; passing a temporary does not compile.
 *
 * Objects are built and tagged on one thread; isType() may then be called from any thread.
 */
class RttiContext {
  public:
    /** Deepest class chain that can be tagged; further tags are refused with an error log. */
    static constexpr size_t MAX_TYPE_NAMES = 8;

    RttiContext() = default;

    /** True when `type` equals (whole-string) one of the enabled tags. */
    virtual bool isType(const std::string& type) const;

    /** Appends `type` to the tags. `type` must have static storage duration (an RTTI_TYPE). */
    virtual void enableRtti(const std::string& type);
    void enableRtti(std::string&& type) = delete;

    virtual ~RttiContext();

    RttiContext(const RttiContext&) = delete;
    RttiContext& operator=(const RttiContext&) = delete;

  private:
    std::array<const std::string*, MAX_TYPE_NAMES> typeNames_{};
    size_t typeCount_ = 0;
};

}  // namespace com::vyr::plim

/// Owning pointers to objects of GMime.
#pragma once

#include <gmime/gmime.h>

#include <memory>

/// Deleters for std::unique_ptr.
struct gmime_deleter
{
    void operator()(gpointer object) const { g_object_unref(object); }
    void operator()(GMimeParserOptions *options) const { g_mime_parser_options_free(options); }
};

template <typename Type>
using gmime_object = std::unique_ptr<Type, gmime_deleter>;

/// The options for parsing any field: as lenient as GMime can be.
[[nodiscard]] inline GMimeParserOptions *lenient_options()
{
    static const std::unique_ptr<GMimeParserOptions, gmime_deleter> options = [] {
        g_mime_init();
        std::unique_ptr<GMimeParserOptions, gmime_deleter> made(g_mime_parser_options_new());
        g_mime_parser_options_set_address_compliance_mode(made.get(), GMIME_RFC_COMPLIANCE_LOOSE);
        g_mime_parser_options_set_parameter_compliance_mode(made.get(), GMIME_RFC_COMPLIANCE_LOOSE);
        g_mime_parser_options_set_allow_addresses_without_domain(made.get(), TRUE);
        return made;
    }();
    return options.get();
}

/// Property lists of arbitrary bytes, through every reader.
#include "common/platform/binary_property_list.h"
#include "common/platform/property_objects_portable.h"
#include "common/plugin_static_function.h"
#include "fuzz/fuzz.h"

namespace objects = property_objects;
using statics = plugin_static_function;

namespace {

void read_value(void *key, void *dictionary)
{
    const QString label = QStringLiteral("L");
    const QString labelled = QStringLiteral("L:+:");
    const QString number = statics::get_nsnumber_values(key, dictionary);
    const QString labelled_number = statics::get_nsnumber_key_and_values(key, dictionary, label);
    expect(number.isEmpty() ? labelled_number.isEmpty() : labelled_number == labelled + number, "both numbers");
    const QString text = statics::get_nsstring_values(key, dictionary);
    const QString labelled_text = statics::get_nsstring_key_and_values(key, dictionary, label);
    expect(labelled_text.isEmpty() ? text.isEmpty() : labelled_text == labelled + text, "both texts");
    expect(text.isEmpty() || number.isEmpty(), "a value is of one class");
    statics::get_nsnumber_values_yes_no(key, dictionary);
    statics::get_nsnumber_key_and_value_yes_no(key, dictionary, label);
    statics::get_nsarray_key_and_values(key, dictionary, label);
}

void read_date(objects::object value)
{
    void *date = const_cast<void *>(value);
    statics::convert_nsdate_to_epoch(static_cast<NSDate *>(date), static_cast<NSObject *>(date));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray bytes = fuzz_input(data, size).rest().toByteArray();
    constexpr qint64 max_objects = 1000; // reading more takes longer, but no other code
    if (!unfolds_moderately(bytes, max_objects))
        return 0;
    const objects::property_list list(bytes);
    void *root = const_cast<void *>(list.root());
    for (const char *name : {"k", "d", ""}) {
        const objects::text_object key(QString::fromLatin1(name));
        read_value(const_cast<void *>(key.get()), root);
        read_date(objects::value_for_key(key.get(), root));
    }
    for (const objects::object item : objects::items_of(root))
        read_date(item);
    expect(objects::description_of(root).isNull() || root, "nothing describes nothing");
    return 0;
}

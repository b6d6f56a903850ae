// Goes over a JSON text with a type at hand. json_read.cpp has the rules of members, json_read_values.cpp those of
// values.
#pragma once

#include "operations/instance/field.h"
#include "operations/text/faults.h"
#include "operations/text/json.h"
#include "operations/text/json_characters.h"

namespace ptp_cfg {

/** Where a reading stands: a member, or an element of an array, within others. */
struct json_step {
    const json_step *outer;
    const char *name;  // nullptr for an element
    size_t length;
    u_int32 element;
};

/** Texts that are allocated before anything is stored, so that nothing can fail then. */
class json_texts {
  public:
    explicit json_texts(const json_source &source) : source_(source) {}
    ~json_texts();
    json_texts(const json_texts &) = delete;
    json_texts &operator=(const json_texts &) = delete;

    /** False without memory. No characters are no allocation. */
    bool add(const char *characters, size_t count);
    /** Gives them in the order in which they came; nullptr for no characters. */
    char *take();

  private:
    bool grow();

    static constexpr u_int32 own_places = 8;
    const json_source &source_;
    char *own_[own_places];
    char **texts_ = own_;
    u_int32 room_ = own_places;
    u_int32 count_ = 0;
    u_int32 taken_ = 0;
};

/** What a reading does with values that are right. */
enum class json_pass : u_int8 {
    check,           // only prepares the texts
    store,           // what has been checked
    check_and_store  // for an instance that is destroyed after a failure
};

class json_reader {
  public:
    json_reader(const json_source &source, json_pass pass, json_texts &texts)
        : source_(source), pass_(pass), texts_(texts), scanner_(source.text, source.length) {}

    bool enumeration(const enumeration_descriptor &type, void *instance, int8 its_variant);
    bool structure(const structure_descriptor &type, void *instance);
    bool message(const message_descriptor &type, message_instance &message, bool *absent);
    /** Nothing but blanks may follow. */
    bool ends();
    u_int32 err() const { return err_; }

  private:
    friend class json_members;

    bool has(u_int32 rule) const { return (source_.rules & rule) != 0; }
    bool stores() const { return pass_ != json_pass::check; }
    size_t here() const { return scanner_.offset(); }

    /** Tells a fault; false, for callers to end with. */
    [[gnu::cold, gnu::noinline]] bool fault(size_t offset, u_int32 code, const char *format, ...) VELA_PRINTF(4, 5);
    [[gnu::cold, gnu::noinline]] bool wrong_syntax(const char *reason);
    [[gnu::cold, gnu::noinline]] bool wanted(const char *what);
    [[gnu::cold, gnu::noinline]] bool fail_by(u_int32 code);

    bool opens(char bracket, const char *what);
    bool goes_on(char closing, bool *is_last);
    bool name(json_string *name);
    bool quoted(json_string *string, const char *what);
    bool skip();

    bool number(int64_t lowest, u_int64 highest, const char *type_name, bool may_be_quoted, u_int64 *value);
    bool small_number(const char *what, u_int64 highest, u_int64 *value);
    bool variant(int8 latest, int8 *variant);
    void store_variant(void *instance, int8 variant);
    bool literal_name(const enumeration_descriptor &type, u_int32 *value);
    bool literal(const enumeration_descriptor &type, int8 its_variant, u_int32 *value);
    bool enumeration_object(const enumeration_descriptor &type, void *instance);

    bool member(const structure_descriptor &type, void *instance, u_int32 index);
    bool elements(const field_descriptor &field, void *instance);
    bool element(const field_descriptor &field, void *instance, u_int32 element);
    bool byte_list(const structure_descriptor &type, void *instance);
    bool address_number(u_int8 *value);
    bool primitive(field_kind kind, u_int8 *value);
    template <class P>
    bool boolean(u_int8 *value);
    template <class P, class Value>
    bool written(u_int8 *value);
    bool text(const field_descriptor &field, void *instance);
    bool text_bytes(char *bytes, size_t *count);
    bool store_text(const field_descriptor &field, void *instance, const char *bytes, size_t count);

    bool state(const structure_descriptor &type, void *instance, int8 its_variant);
    bool state_of_field(const field_descriptor &field, u_int8 *block);
    bool payload(const message_descriptor &type, message_instance &message, u_int32 index, bool *absent);
    bool unknown_payload(const message_descriptor &type, std::string_view name, size_t at);
    bool next_payload(const message_descriptor &type, message_instance &message, bool *absent, bool *seen);
    bool payloads(const message_descriptor &type, message_instance &message, bool *absent);

    const json_source &source_;
    json_pass pass_;
    json_texts &texts_;
    json_scanner scanner_;
    const json_step *step_ = nullptr;
    u_int32 err_ = 0;

    /** A step into the text, as long as it lives. */
    class within {
      public:
        within(json_reader &reader, const char *name, size_t length, u_int32 element = 0)
            : reader_(reader), step_{reader.step_, name, length, element} {
            reader.step_ = &step_;
        }
        ~within() { reader_.step_ = step_.outer; }
        within(const within &) = delete;
        within &operator=(const within &) = delete;

      private:
        json_reader &reader_;
        json_step step_;
    };
};

}  // namespace ptp_cfg

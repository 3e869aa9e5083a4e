// SPDX-License-Identifier: MIT
//
// What the value of each request of the daemon's handler table looks like: in the request, as the
// handler takes it, and in the reply. A request whose value has another size than stated here is
// answered with status 22 before the handler sees it.
//
// | form     | request value               | handler takes | value of a successful reply        |
// |----------|-----------------------------|---------------|------------------------------------|
// | Nothing  | 0 bytes                     | (enumeration) | u32 unit                           |
// | Answer   | 0 or 4 bytes, not looked at | u32           | u32                                |
// | Question | 4 bytes: a VLAN ID          | u32           | u32, the answer in its place       |
// | Setting  | 4 bytes: u32                | u32           | 0 bytes                            |
// | Text     | 0 or 4 bytes: u32 room      | QorBuffer     | text, without an end mark          |
// | Record   | 0 or 4 bytes: u32 room      | QorBuffer     | as many bytes as were read out     |
// | Packet   | any number of bytes         | QorBuffer     | 0 bytes                            |
//
// Room is the length of the buffer that the handler gets; absent, as much as it can use.
#pragma once

#include <algorithm>
#include <array>

#include "platform/channel/protocol.h"

namespace platform {

enum class ValueForm : u8 { Nothing, Answer, Question, Setting, Text, Record, Packet };

struct AttributeForm {
    Request request;
    u32 attribute;
    ValueForm form;
};

/// The attributes that differ from the others of their request.
inline constexpr std::array kAttributeForms = {
    AttributeForm{Request::PortGet, 8, ValueForm::Question},   // applicant of a VLAN
    AttributeForm{Request::PortGet, 9, ValueForm::Question},   // registrar
    AttributeForm{Request::PortGet, 10, ValueForm::Question},  // REG-BIT
    AttributeForm{Request::PortGet, 11, ValueForm::Question},  // PROPAGATE-BIT
    AttributeForm{Request::ScalarGet, 5, ValueForm::Text},     // version
    AttributeForm{Request::ScalarSet, 4, ValueForm::Packet},   // synchronisation packet
    AttributeForm{Request::ScalarSync, 4, ValueForm::Packet},
    AttributeForm{Request::ScalarSet, 8, ValueForm::Record},  // status read-out
    AttributeForm{Request::ScalarSync, 8, ValueForm::Record},
};

constexpr ValueForm requestForm(Request request) {
    switch (request) {
        case Request::PortGet:
        case Request::ScalarGet:
            return ValueForm::Answer;
        case Request::PortSet:
        case Request::PortSync:
        case Request::ScalarSet:
        case Request::ScalarSync:
            return ValueForm::Setting;
        default:
            return ValueForm::Nothing;
    }
}

constexpr ValueForm valueForm(Request request, u32 attribute) {
    for (const AttributeForm& entry : kAttributeForms)
        if (entry.request == request && entry.attribute == attribute)
            return entry.form;
    return requestForm(request);
}

constexpr bool sizeFits(ValueForm form, std::size_t bytes) {
    switch (form) {
        case ValueForm::Nothing:
            return bytes == 0;
        case ValueForm::Answer:
        case ValueForm::Text:
        case ValueForm::Record:
            return bytes == 0 || bytes == sizeof(u32);
        case ValueForm::Question:
        case ValueForm::Setting:
            return bytes == sizeof(u32);
        case ValueForm::Packet:
            return bytes <= kMaxValueBytes;
    }
    return false;
}

static_assert(valueForm(Request::PortGet, 7) == ValueForm::Answer);
static_assert(valueForm(Request::PortGet, 8) == ValueForm::Question);
static_assert(valueForm(Request::PortSet, 8) == ValueForm::Setting);
static_assert(valueForm(Request::PortNext, 0) == ValueForm::Nothing);

}  // namespace platform

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
#include "platform/contract/management.h"

namespace platform {

enum class ValueForm : u8 { Nothing, Answer, Question, Setting, Text, Record, Packet };

struct AttributeForm {
    Request request;
    u32 attribute;
    ValueForm form;
};

/// The attributes that differ from the others of their request.
inline constexpr std::array kAttributeForms = {
    AttributeForm{Request::PortGet, MVRP_PORT_APPLICANT, ValueForm::Question},
    AttributeForm{Request::PortGet, MVRP_PORT_REGISTRAR, ValueForm::Question},
    AttributeForm{Request::PortGet, MVRP_PORT_REG_BIT, ValueForm::Question},
    AttributeForm{Request::PortGet, MVRP_PORT_PROPAGATE_BIT, ValueForm::Question},
    AttributeForm{Request::ScalarGet, MVRP_SCALAR_VERSION, ValueForm::Text},
    AttributeForm{Request::ScalarSet, MVRP_SCALAR_SYNC_PACKET, ValueForm::Packet},
    AttributeForm{Request::ScalarSync, MVRP_SCALAR_SYNC_PACKET, ValueForm::Packet},
    AttributeForm{Request::ScalarSet, MVRP_SCALAR_STATUS, ValueForm::Record},
    AttributeForm{Request::ScalarSync, MVRP_SCALAR_STATUS, ValueForm::Record},
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

static_assert(valueForm(Request::PortGet, MVRP_PORT_LEAVE_ALL_TIMEOUT) == ValueForm::Answer);
static_assert(valueForm(Request::PortGet, MVRP_PORT_APPLICANT) == ValueForm::Question);
static_assert(valueForm(Request::PortSet, MVRP_PORT_APPLICANT) == ValueForm::Setting);
static_assert(valueForm(Request::PortNext, 0) == ValueForm::Nothing);

}  // namespace platform

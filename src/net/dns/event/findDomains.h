#pragma once

#include "event/format/EventFormatterConfig.h"
#include "net/dns/message/DnsMessage.h"

namespace ns::net::dns {

/// The names of a message whose domains are shown, each kind with those before it.
enum class DomainsOf { Nothing, Question, Answers, AllRecords };

/// Works out where the domain begins in each of the names asked for, and notes it in the message, whose names have to
/// be there in lower case. What was worked out for the same name in the question, or in the record before, is taken
/// over.
void findDomains(DnsMessage& message, DomainsOf names, const event::format::EventFormatterConfig& config);

}  // namespace ns::net::dns

#include <nlohmann/json.hpp>

#include "ZQMHelper/Shared/IPReader.h"
#include "fuzz/Fuzzing.h"
#include "fuzz/Utf8Model.h"

// Any bytes as the reply of the service that knows the public address.

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace zqm;
    const auto body = textOf(data, size);
    const auto facts = IPReader::parseReply(body);
    const auto json = nlohmann::json::parse(body, nullptr, false);
    const auto holds = [&](const char* key, const auto& value) { return json.contains(key) && json.at(key) == value; };
    const bool isAnswer = json.is_object() && holds("success", true) && json.contains("ip") && json["ip"].is_string();
    require(facts.has_value() == isAnswer, "a success with an address is an answer, nothing else is");
    if (!facts) return 0;
    require(holds("ip", facts->ip), "the address is the service's");
    require(facts->region.empty() || holds("country", facts->region), "the country is the service's");
    require(facts->flag == "\U0001F310" || facts->flag.size() == 8, "a flag is two letters or the globe");
    for (const std::string& text : {facts->ip, facts->flag, facts->region}) {
        require(decodedModel(text) == text, "the texts are UTF-8");
    }
    return 0;
}

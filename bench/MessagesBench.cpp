// Time of the message layer alone: encoding a whole dictionary and decoding it.

#include <benchmark/benchmark.h>

#include "usrservice/UsrServiceEvidencePDU.h"

namespace {

std::list<Evidence::EvidenceTypePtr> Types(std::int64_t count) {
  std::list<Evidence::EvidenceTypePtr> types;
  for (std::int32_t id = 0; id < count; ++id) {
    types.push_back(std::make_shared<Evidence::_tag_EvidenceType_>(
        Evidence::_tag_EvidenceType_{id, "evidence type " + std::to_string(id)}));
  }
  return types;
}

std::string PutBody(std::int64_t count) {
  std::string body = R"({"EvidenceTypeList":{"EvidenceType":[)";
  for (std::int64_t id = 0; id < count; ++id) {
    body += (id ? "," : "") + (R"({"ID":)" + std::to_string(id)) + R"(,"Name":"evidence type )" + std::to_string(id) +
            "\"}";
  }
  return body + "]}}";
}

void EncodeTypes(benchmark::State& state) {
  Evidence::CEvidencePduJson pdu{std::weak_ptr<Evidence::CEvidenceUserInterface>()};
  const auto types = Types(state.range(0));
  std::string response;
  for (auto _ : state) {
    benchmark::DoNotOptimize(pdu.EncodeEvidenceTypeGetRsp(response, {}, {}, types, {}));
  }
  state.SetComplexityN(state.range(0));
}
BENCHMARK(EncodeTypes)->Arg(6)->Arg(128)->Arg(10000)->Arg(100000)->Complexity();

void DecodeTypes(benchmark::State& state) {
  Evidence::CEvidencePduJson pdu{std::weak_ptr<Evidence::CEvidenceUserInterface>()};
  const auto body = PutBody(state.range(0));
  for (auto _ : state) {
    std::list<Evidence::EvidenceTypePtr> types;
    benchmark::DoNotOptimize(pdu.DecodeEvidenceTypePutReq(types, body));
  }
  state.SetComplexityN(state.range(0));
}
BENCHMARK(DecodeTypes)->Arg(6)->Arg(128)->Arg(10000)->Arg(100000)->Complexity();

}  // namespace

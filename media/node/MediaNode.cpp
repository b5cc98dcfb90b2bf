#include "media/node/MediaNode.h"

namespace {
std::atomic<int32> sNextNodeID{1};
}

MediaNode::MediaNode(std::string name) : fName(std::move(name)), fID(sNextNodeID.fetch_add(1)) {}

MediaNode::~MediaNode() = default;

std::unique_ptr<ParameterWeb> MediaNode::GetParameterWeb() {
    return nullptr;
}

status_t MediaNode::GetParameterValue(int32, bigtime_t*, void*, size_t*) {
    return B_BAD_VALUE;
}

status_t MediaNode::SetParameterValue(int32, bigtime_t, const void*, size_t) {
    return B_BAD_VALUE;
}

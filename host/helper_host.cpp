#include "host/helper_host.h"

#include <optional>

#include "foundation/json_text.h"
#include "foundation/log.h"
#include "foundation/path_helpers.h"
#include "foundation/text_helpers.h"
#include "host/command_line.h"
#include "host/message_window.h"
#include "host/request_rules.h"
#include "ipc/protocol/envelope.h"
#include "ipc/protocol/pipe_callbacks.h"
#include "ipc/transport/iocp_server.h"
#include "ipc/transport/pipe_names.h"
#include "open/request/mini_program_service.h"
#include "support/http/beacons.h"
#include "support/http/http_transfer.h"
#include "support/picture/gdiplus_start.h"

namespace {

constexpr wchar_t kWindowTitleBase[] = L"ProgramIPCMessageS_";
// The one byte that releases a forwarding second start.
constexpr char kForwardAcknowledged[] = "1";

}  // namespace

CommzoltHelperS* CommzoltHelperS::GetInstance() {
    static CommzoltHelperS host;
    return &host;
}

CommzoltHelperS::CommzoltHelperS(const HostThreads& threads) : m_threads(threads) {}

CommzoltHelperS::~CommzoltHelperS() {
    if (m_pPipeServer) {
        m_pPipeServer->Stop();
        m_pPipeServer->WaitForThread();
    }
    const CAutoLock lockInstance(&m_lockInstance);
    const CAutoLock lockParam(&m_lockParam);
    for (const auto& [id, instance] : m_mWxExInstance) {
        instance->Destroy();
    }
    m_mWxExInstance.clear();
}

void CommzoltHelperS::Init(const std::wstring& commandLine) {
    const CAutoLock lock(&m_lockInit);
    const bool first = !m_bInited.load();
    std::optional<CHangWatcherStart> hangWatcher;
    if (first) {
        NXL_LOG(L"[%s(%d)] For the first time!");
        hangWatcher.emplace(m_threads, this);
        m_hInitEvent.reset(
            CreateEventW(/*attributes=*/nullptr, /*bManualReset=*/TRUE, /*bInitialState=*/FALSE, kReadyEventName));
        // InitData connects the instance, and its caller may ask at once for what sends a beacon.
        GetSharedHttpTransfer()->StartWorkerAtNeed();
        m_bHoldsThreads = true;
        const CAutoLock lockInstance(&m_lockInstance);
        m_bHoldsWatches = true;
    } else {
        NXL_LOG(L"[%s(%d)] Not the first time");
    }
    InitData(commandLine, hangWatcher ? &*hangWatcher : nullptr);
    InitMsgWnd();
    if (hangWatcher) {
        InitHangWatcherThread(*hangWatcher);
        InitMonCPUUsageThread();
        InitConfInfoThread();
    } else if (m_pPipeServer) {
        m_pPipeServer->Send(kForwardAcknowledged);
    }
    if (IsDispatchedAtStart(Type())) {
        // A request of the command line may be slow.
        ReleaseThreads();
    }
    DealWithMsg(Type(), Param());
    SendReadyNotice();
    ReleaseThreads();
    if (first) {
        m_gdiplusToken = StartGdiplus();
    }
    if (!Mark().empty() && !ServiceId().empty()) {
        m_bInited.store(true);
    }
}

void CommzoltHelperS::InitData(const std::wstring& commandLine, const CHangWatcherStart* start) {
    std::int32_t type = 0;
    std::string channel;
    std::string param;
    std::wstring mark;
    if (const auto value = ReadSwitch(commandLine, kSwitchFrom, kShortSwitchSize)) {
        NXL_LOG(L"[%s(%d)] enter mark=%s", value->c_str());
        mark = *value;
    }
    if (const auto value = ReadSwitch(commandLine, kSwitchChannel, kChannelSwitchSize)) {
        NXL_LOG(L"[%s(%d)] enter channelBuffer=%s", value->c_str());
        channel = DecodeSwitch(*value);
    }
    if (const auto value = ReadSwitch(commandLine, kSwitchType, kShortSwitchSize)) {
        NXL_LOG(L"[%s(%d)] enter typeBuffer=%s", value->c_str());
        type = TypeFromSwitch(*value);
    }
    if (const auto value = ReadSwitch(commandLine, kSwitchParam, commandLine.size())) {
        NXL_LOG(L"[%s(%d)] enter paramBuffer=%s", value->c_str());
        param = DecodeSwitch(*value);
    }
    {
        const CAutoLock lock(&m_lockState);
        m_nType = type;
        m_strChannel = std::move(channel);
        m_strParam = std::move(param);
        m_mark = std::move(mark);
    }
    GetMid();

    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    NXL_LOG(L"[%s(%d)] enter szPath=%s", path);
    {
        const CAutoLock lock(&m_lockState);
        m_sdkPath = TwoStepsUp(path);
    }
    if (start != nullptr) {
        // From here on the caller is connected, and what it asks for may stop this thread.
        start->WaitUntilItRuns();
    }
    // Read without a lock: a forwarded command line is as long as its sender made it.
    if (const auto value = ReadSwitch(commandLine, kSwitchServiceId, kShortSwitchSize)) {
        const CAutoLock lock(&m_lockInstance);
        NXL_LOG(L"[%s(%d)] enter szServiceId=%s", value->c_str());
        const std::string serviceId = Utf16ToUtf8(*value);
        {
            const CAutoLock lockState(&m_lockState);
            m_strServiceId = serviceId;
        }
        FindOrCreateInstance(serviceId);
    }
    NXL_LOG(L"[%s(%d)] enter m_sdkPath=%s", SdkPath().c_str());
}

void CommzoltHelperS::GetMid() {
    std::string mid;
    switch (ReadChannelMid(Channel(), mid)) {
        case ChannelMidStatus::ParseError:
            NXL_LOG(L"[%s(%d)] Parse error");
            return;
        case ChannelMidStatus::NotObject:
            NXL_LOG(L"[%s(%d)] Root type is error");
            return;
        case ChannelMidStatus::NoMid:
            NXL_LOG(L"[%s(%d)] Root not mid ");
            return;
        case ChannelMidStatus::Ok:
            break;
    }
    const std::wstring machineId = Utf8ToUtf16(mid);
    {
        const CAutoLock lock(&m_lockState);
        m_strMid = machineId;
    }
    SetBeaconMachineId(machineId);
}

void CommzoltHelperS::InitMsgWnd() {
    NXL_LOG(L"[%s(%d)] enter InitMsgWnd");
    const std::wstring mark = Mark();
    const std::string serviceId = ServiceId();
    if (mark.empty() || serviceId.empty()) {
        return;
    }
    const std::wstring title = kWindowTitleBase + mark;
    {
        const CAutoLock lock(&m_lockState);
        m_exeWndTitle = title;
    }
    if (!m_bInited.load()) {
        CreateMessageWindow(this, title);
        InitZOLTSIPC();
    }
    NXL_LOG(L"[%s(%d)] enter InitMsgWnd m_strServiceId=%s , m_exeWndTitle=%s", Utf8ToUtf16(serviceId).c_str(),
            title.c_str());
}

void CommzoltHelperS::InitZOLTSIPC() {
    const std::string serviceId = ServiceId();
    NXL_LOG(L"[%s(%d)] InitZOLTSIPC begin");
    NXL_LOG(L"[%s(%d)] m_strServiceId = %s", Utf8ToUtf16(serviceId).c_str());
    if (serviceId.empty() || m_pPipeServer) {
        return;
    }
    const std::wstring mark = Mark();
    const std::wstring pipeName = HostPipeName(mark);
    const std::wstring eventName = HostEventName(mark);
    m_pPipeServer = CIOCP_Server::Create();
    m_pServerCallback = std::make_shared<CPipeServerCallback>(this);
    m_pPipeServer->SetCallback(m_pServerCallback);
    m_pPipeServer->SetNames(pipeName, eventName);
    m_pPipeServer->StartThread();
    m_pPipeServer->CreateListener();
    if (m_hInitEvent) {
        SetEvent(m_hInitEvent.get());
    }
    m_bIpcStarted.store(true);
    NXL_LOG(L"[%s(%d)] strPipeName=%s, strEventName=%s", pipeName.c_str(), eventName.c_str());
    NXL_LOG(L"[%s(%d)] InitZOLTSIPC end");
}

void CommzoltHelperS::SendReadyNotice() {
    Json::Value content(Json::objectValue);
    content["p1"] = "1";
    constexpr int type = static_cast<int>(MessageType::S_MT_InitReply);
    const std::string notice = WriteEnvelope(type, std::move(content));
    const std::string serviceId = ServiceId();

    const CAutoLock lock(&m_lockInstance);
    std::shared_ptr<WxMiniProgramServiceEx>& instance = m_mWxExInstance[serviceId];
    if (instance) {
        InitInstance(*instance);
    } else {
        // Kept: an instance made here is not initialised, so the notice below only logs. Callers rely on a start
        // without a service id sending nothing. HelperHostTest.StartWithoutServiceIdMakesAnUninitialisedInstance
        // holds it.
        instance = WxMiniProgramServiceEx::Create(serviceId, this);
    }
    instance->SendIPCMessage(type, notice);
}

std::shared_ptr<WxMiniProgramServiceEx> CommzoltHelperS::FindOrCreateInstance(const std::string& strServiceId) {
    std::shared_ptr<WxMiniProgramServiceEx>& instance = m_mWxExInstance[strServiceId];
    if (!instance) {
        instance = WxMiniProgramServiceEx::Create(strServiceId, this);
    }
    InitInstance(*instance);
    return instance;
}

void CommzoltHelperS::InitInstance(WxMiniProgramServiceEx& instance) const {
    std::string channel;
    std::wstring sdkPath;
    std::wstring mark;
    {
        const CAutoLock lock(&m_lockState);
        channel = m_strChannel;
        sdkPath = m_sdkPath;
        mark = m_mark;
    }
    instance.Init(channel, sdkPath, mark, m_bHoldsWatches);
}

bool CommzoltHelperS::GetInstanceParam(const std::string& strServiceId, InstanceParam& param) {
    const CAutoLock lock(&m_lockParam);
    return GetInstanceParamFrom(m_mInstanceParam, strServiceId, param);
}

bool CommzoltHelperS::SetInstanceParam(const std::string& strServiceId, const InstanceParamChange& change,
                                       const IStopToken& stop) {
    const CAutoLock lock(&m_lockParam);
    if (stop.StopRequested()) {
        return false;
    }
    SetInstanceParamIn(m_mInstanceParam, strServiceId, change);
    return true;
}

std::int32_t CommzoltHelperS::Type() const {
    return Read(&CommzoltHelperS::m_nType);
}

std::wstring CommzoltHelperS::Mark() const {
    return Read(&CommzoltHelperS::m_mark);
}

std::string CommzoltHelperS::ServiceId() const {
    return Read(&CommzoltHelperS::m_strServiceId);
}

std::string CommzoltHelperS::Channel() const {
    return Read(&CommzoltHelperS::m_strChannel);
}

std::string CommzoltHelperS::Param() const {
    return Read(&CommzoltHelperS::m_strParam);
}

std::wstring CommzoltHelperS::SdkPath() const {
    return Read(&CommzoltHelperS::m_sdkPath);
}

std::wstring CommzoltHelperS::Mid() const {
    return Read(&CommzoltHelperS::m_strMid);
}

std::wstring CommzoltHelperS::ExeWndTitle() const {
    return Read(&CommzoltHelperS::m_exeWndTitle);
}

std::shared_ptr<WxMiniProgramServiceEx> CommzoltHelperS::FindInstance(const std::string& strServiceId) const {
    const CAutoLock lock(&m_lockInstance);
    const auto entry = m_mWxExInstance.find(strServiceId);
    return entry != m_mWxExInstance.end() ? entry->second : nullptr;
}

std::size_t CommzoltHelperS::InstanceCount() const {
    const CAutoLock lock(&m_lockInstance);
    return m_mWxExInstance.size();
}

#include "foundation/windows_headers.h"

#include <aclapi.h>
#include <objbase.h>
#include <shlobj.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "support/picture/cos_op.h"
#include "support/system/com_pointer.h"
#include "support/system/late_ole32.h"
#include "tests/support/late_fault.h"
#include "tests/support/private_registry.h"
#include "tests/support/temp_folder.h"
#include "tests/support/unique_name.h"

namespace {

// What a saved link says about itself.
struct Link {
    std::wstring description;
    std::wstring target;
    std::wstring icon;
    int iconIndex = -1;
};

class CosOpShortcut : public testing::Test {
  protected:
    void SetUp() override {
        wchar_t desktop[MAX_PATH] = {};
        ASSERT_TRUE(SHGetSpecialFolderPathW(nullptr, desktop, CSIDL_DESKTOP, FALSE));
        m_name = UniqueName(L"快捷方式");
        m_path = std::filesystem::path(desktop) / (m_name + L".lnk");
    }
    void TearDown() override { std::filesystem::remove(m_path); }

    Link Load() const {
        Link link;
        EXPECT_TRUE(SUCCEEDED(CoInitialize(nullptr)));
        {
            CComPointer<IShellLinkW> shell;
            CComPointer<IPersistFile> file;
            EXPECT_EQ(
                CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_IShellLinkW, shell.Receive()),
                S_OK);
            EXPECT_EQ(shell->QueryInterface(IID_IPersistFile, file.Receive()), S_OK);
            EXPECT_EQ(file->Load(m_path.c_str(), STGM_READ), S_OK) << m_path;
            wchar_t text[1024] = {};
            EXPECT_TRUE(SUCCEEDED(shell->GetDescription(text, 1024)));
            link.description = text;
            EXPECT_TRUE(SUCCEEDED(shell->GetPath(text, 1024, nullptr, SLGP_RAWPATH)));
            link.target = text;
            text[0] = L'\0';
            EXPECT_TRUE(SUCCEEDED(shell->GetIconLocation(text, 1024, &link.iconIndex)));
            link.icon = text;
        }
        CoUninitialize();
        return link;
    }

    std::wstring m_name;
    std::filesystem::path m_path;
};

TEST_F(CosOpShortcut, IsOnTheDesktopWithTargetDescriptionAndIcon) {
    EXPECT_TRUE(
        CosOp::CreateDesktopShortcut(m_name, L"C:\\windows\\notepad.exe", L"打开微信小程序", L"C:\\icons\\a b.ico"));
    ASSERT_TRUE(std::filesystem::exists(m_path));
    const Link link = Load();
    EXPECT_EQ(link.description, L"打开微信小程序");
    EXPECT_EQ(link.icon, L"C:\\icons\\a b.ico");
    EXPECT_EQ(link.iconIndex, 0);
    EXPECT_EQ(CompareStringOrdinal(link.target.c_str(), -1, L"C:\\windows\\notepad.exe", -1, TRUE), CSTR_EQUAL);
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"  // interfaces of COM have none
// A shell link that writes down what it is told, and answers as a test wants.
class CFakeLink : public IShellLinkW, public IPersistFile {
  public:
    HRESULT m_path = S_OK;      // the answer to SetPath
    HRESULT m_item = S_OK;      // the answer to SetIDList
    bool m_bCanBeSaved = true;  // has IPersistFile
    int m_nIcons = 0;           // calls of SetIconLocation
    std::wstring m_itemName;    // of SetIDList
    std::wstring m_saved;       // the path of Save

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        *object = iid == IID_IShellLinkW                     ? static_cast<IShellLinkW*>(this)
                  : iid == IID_IPersistFile && m_bCanBeSaved ? static_cast<IPersistFile*>(this)
                                                             : static_cast<void*>(nullptr);
        return *object != nullptr ? S_OK : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 1; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }

    HRESULT STDMETHODCALLTYPE SetPath(LPCWSTR) override { return m_path; }
    HRESULT STDMETHODCALLTYPE SetIDList(LPCITEMIDLIST item) override {
        wchar_t name[MAX_PATH] = {};
        SHGetPathFromIDListW(item, name);
        m_itemName = name;
        return m_item;
    }
    HRESULT STDMETHODCALLTYPE SetIconLocation(LPCWSTR, int) override {
        ++m_nIcons;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE SetDescription(LPCWSTR) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE Save(LPCOLESTR path, BOOL) override {
        m_saved = path;
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE GetPath(LPWSTR, int, WIN32_FIND_DATAW*, DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDList(LPITEMIDLIST*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetDescription(LPWSTR, int) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetWorkingDirectory(LPWSTR, int) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetWorkingDirectory(LPCWSTR) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetArguments(LPWSTR, int) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetArguments(LPCWSTR) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetHotkey(WORD*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetHotkey(WORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetShowCmd(int*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetShowCmd(int) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIconLocation(LPWSTR, int, int*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetRelativePath(LPCWSTR, DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Resolve(HWND, DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetClassID(CLSID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE IsDirty() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Load(LPCOLESTR, DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SaveCompleted(LPCOLESTR) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetCurFile(LPOLESTR*) override { return E_NOTIMPL; }
};

#pragma GCC diagnostic pop

CFakeLink* g_pFakeLink = nullptr;
HRESULT WINAPI GiveFakeLink(REFCLSID, LPUNKNOWN, DWORD, REFIID iid, LPVOID* object) {
    return g_pFakeLink->QueryInterface(iid, object);
}
HRESULT WINAPI GiveNoLink(REFCLSID, LPUNKNOWN, DWORD, REFIID, LPVOID*) {
    return REGDB_E_CLASSNOTREG;
}

class CosOpShortcutLink : public testing::Test {
  protected:
    CosOpShortcutLink() { g_pFakeLink = &m_link; }
    static bool Create(const wchar_t* target, const wchar_t* icon = L"") {
        return CosOp::CreateDesktopShortcut(L"name", target, L"description", icon);
    }

    CFakeLink m_link;
    CLateFault<decltype(&::CoCreateInstance)> m_fault{Late::CoCreateInstance, &GiveFakeLink};
};

TEST_F(CosOpShortcutLink, AnEmptyIconPathSetsNoIcon) {
    EXPECT_TRUE(Create(L"C:\\windows\\notepad.exe"));
    EXPECT_EQ(m_link.m_nIcons, 0);
    EXPECT_TRUE(Create(L"C:\\windows\\notepad.exe", L"C:\\icons\\a b.ico"));
    EXPECT_EQ(m_link.m_nIcons, 1);
}

TEST_F(CosOpShortcutLink, ATargetThatIsTakenAsAPathIsNotReadAsAnItem) {
    EXPECT_TRUE(Create(L"C:\\windows"));
    EXPECT_EQ(m_link.m_itemName, L"");
    EXPECT_NE(m_link.m_saved, L"");
}

TEST_F(CosOpShortcutLink, ATargetThatIsRefusedAsAPathIsSetAsAnItemOfTheShell) {
    for (const HRESULT refused : {E_INVALIDARG, S_FALSE}) {
        m_link = CFakeLink();
        m_link.m_path = refused;
        EXPECT_TRUE(Create(L"C:\\windows"));
        EXPECT_EQ(CompareStringOrdinal(m_link.m_itemName.c_str(), -1, L"C:\\windows", -1, TRUE), CSTR_EQUAL);
        EXPECT_NE(m_link.m_saved, L"");
    }
}

TEST_F(CosOpShortcutLink, ATargetThatIsTakenInNoWayIsAFailureAndNothingIsSaved) {
    m_link.m_path = E_INVALIDARG;
    EXPECT_FALSE(Create(L"C:\\no such folder\\at all")) << "no item";
    m_link.m_item = E_FAIL;
    EXPECT_FALSE(Create(L"C:\\windows")) << "an item that the link refuses";
    EXPECT_EQ(m_link.m_saved, L"");
}

TEST_F(CosOpShortcutLink, APathOfNothingThatExistsIsATargetAllTheSame) {
    m_link.m_path = S_FALSE;
    EXPECT_TRUE(Create(L"C:\\no such folder\\at all"));
    m_link.m_item = E_FAIL;
    EXPECT_TRUE(Create(L"C:\\windows"));
}

TEST_F(CosOpShortcutLink, ALinkThatCannotBeSavedIsAFailure) {
    m_link.m_bCanBeSaved = false;
    EXPECT_FALSE(Create(L"C:\\windows"));
}

TEST_F(CosOpShortcut, AShellLinkThatCannotBeMadeIsAFailure) {
    {
        const CLateFault fault(Late::CoCreateInstance, &GiveNoLink);
        EXPECT_FALSE(CosOp::CreateDesktopShortcut(m_name, L"C:\\windows\\notepad.exe", L"", L""));
    }
    CoUninitialize();  // the apartment is still there
    EXPECT_FALSE(std::filesystem::exists(m_path));
}

TEST_F(CosOpShortcut, AnotherOneOfTheNameIsReplaced) {
    EXPECT_TRUE(CosOp::CreateDesktopShortcut(m_name, L"C:\\windows\\notepad.exe", L"first", L""));
    EXPECT_TRUE(CosOp::CreateDesktopShortcut(m_name, L"C:\\windows\\notepad.exe", L"second", L""));
    EXPECT_EQ(Load().description, L"second");
}

// A target may be the URL of a protocol, which the shell keeps in its own way; the shortcut is saved all the same.
TEST_F(CosOpShortcut, ATargetThatIsAUrlIsSavedToo) {
    EXPECT_TRUE(CosOp::CreateDesktopShortcut(m_name, L"weixin://launchapplet/?app=1", L"description", L""));
    ASSERT_TRUE(std::filesystem::exists(m_path));
    EXPECT_EQ(Load().description, L"description");
}

TEST_F(CosOpShortcut, TheOutcomeOfSavingDoesNotCount) {
    EXPECT_TRUE(CosOp::CreateDesktopShortcut(m_name + L"\\no\\such\\folder", L"C:\\windows\\notepad.exe", L"", L""));
    EXPECT_FALSE(std::filesystem::exists(m_path));
}

TEST_F(CosOpShortcut, AFolderOfThatNameStaysAndTheResultSaysNothing) {
    std::filesystem::create_directory(m_path);
    EXPECT_TRUE(CosOp::CreateDesktopShortcut(m_name, L"C:\\windows\\notepad.exe", L"description", L""));
    EXPECT_TRUE(std::filesystem::is_directory(m_path));
}

// Takes the right to make files in a folder away for the length of a scope. Where rights do not bind the user, as under
// Wine as root, the folder is one in which no user can make a file.
class CReadOnlyFolder {
  public:
    CReadOnlyFolder() {
        if (GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr) {
            m_path = L"Z:\\proc";
            return;
        }
        m_path = m_folder.Path();
        wchar_t user[] = L"CURRENT_USER";
        EXPLICIT_ACCESSW access{};
        BuildExplicitAccessWithNameW(&access, user, FILE_ADD_FILE, DENY_ACCESS, NO_INHERITANCE);
        PACL list = nullptr;
        EXPECT_EQ(SetEntriesInAclW(1, &access, nullptr, &list), static_cast<DWORD>(ERROR_SUCCESS));
        EXPECT_EQ(Apply(list), static_cast<DWORD>(ERROR_SUCCESS));
        LocalFree(list);
    }
    ~CReadOnlyFolder() {
        if (m_path == m_folder.Path()) {
            Apply(nullptr);
        }
    }
    CReadOnlyFolder(const CReadOnlyFolder&) = delete;
    CReadOnlyFolder& operator=(const CReadOnlyFolder&) = delete;
    const std::filesystem::path& Path() const { return m_path; }

  private:
    DWORD Apply(PACL list) const {
        std::wstring path = m_path.wstring();
        return SetNamedSecurityInfoW(path.data(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr, list,
                                     nullptr);
    }
    CTempFolder m_folder;
    std::filesystem::path m_path;
};

TEST_F(CosOpShortcut, ADesktopThatCannotBeWrittenGetsNoShortcutAndTheResultSaysNothing) {
    const CReadOnlyFolder readOnly;
    const CPrivateRegistry registry;  // other tests keep their desktop
    const CRegistryValue desktop(HKEY_CURRENT_USER,
                                 L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\User Shell Folders",
                                 L"Desktop", 0, REG_SZ, TextBytes(readOnly.Path().wstring()));
    wchar_t folder[MAX_PATH] = {};
    ASSERT_TRUE(SHGetSpecialFolderPathW(nullptr, folder, CSIDL_DESKTOP, FALSE));
    ASSERT_EQ(std::filesystem::path(folder), readOnly.Path());
    EXPECT_TRUE(CosOp::CreateDesktopShortcut(m_name, L"C:\\windows\\notepad.exe", L"description", L""));
    EXPECT_FALSE(std::filesystem::exists(readOnly.Path() / (m_name + L".lnk")));
    EXPECT_FALSE(std::filesystem::exists(m_path));
}

TEST_F(CosOpShortcut, LeavesTheApartmentBalanced) {
    // This thread may still choose the other kind of apartment.
    EXPECT_TRUE(CosOp::CreateDesktopShortcut(m_name, L"C:\\windows\\notepad.exe", L"", L""));
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
    CoUninitialize();
}

}  // namespace

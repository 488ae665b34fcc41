#pragma once

#include <array>
#include <string>
#include <string_view>

#include "Platform/Process/UserDefaults.h"
#include "ZQMHelper/Shared/L10n.h"

/// Every text of the client in both languages. The command line's help and its parser's complaints are English alone,
/// and so is what the system says (the reasons of failed calls).
namespace zqm {

struct Translation {
    std::string_view english;
    std::string_view chinese;
};

/// "{}" is where a figure or a name belongs, in the same order in both.
inline constexpr std::array translations{
    // Families and figures
    Translation{"Load", "负载"},
    Translation{"CPU", "CPU"},
    Translation{"CPU clock", "CPU 频率"},
    Translation{"GPU", "GPU"},
    Translation{"GPU clock", "GPU 频率"},
    Translation{"Mem", "内存"},
    Translation{"Memory", "内存"},
    Translation{"Swap", "交换"},
    Translation{"Net", "网络"},
    Translation{"Network", "网络"},
    Translation{"Disk", "磁盘"},
    Translation{"Power", "功耗"},
    Translation{"Time", "时间"},
    Translation{"Bat", "电池"},
    Translation{"Battery", "电池"},
    Translation{"Temperature", "温度"},
    Translation{"Cores", "核心"},
    Translation{"Sockets", "套接字"},
    Translation{"System", "系统"},
    Translation{"Space", "空间"},
    Translation{"Links", "接口"},
    Translation{"Drives", "硬盘"},
    Translation{"Sensors", "传感器"},
    Translation{"Fans", "风扇"},
    Translation{"Top CPU", "CPU 前三"},
    Translation{"Top mem", "内存前三"},
    Translation{"Old", "过时"},
    // What is said of them
    Translation{"{} core", "{} 核"},
    Translation{"{} cores", "{} 核"},
    Translation{"of {}", "共 {}"},
    Translation{"{} of {}", "{} / {}"},
    Translation{"app {}", "应用 {}"},
    Translation{"wired {}", "联动 {}"},
    Translation{"compressed {}", "压缩 {}"},
    Translation{"swap {}", "交换 {}"},
    Translation{"pressure", "内存紧张"},
    Translation{"critical pressure", "内存严重不足"},
    Translation{"down", "下载"},
    Translation{"{} up", "{} 上传"},
    Translation{"public {}", "公网 {}"},
    Translation{"tunnel {}", "隧道 {}"},
    Translation{"proxy", "代理"},
    Translation{"read", "读取"},
    Translation{"{} written", "{} 写入"},
    Translation{"R", "读"},
    Translation{"W", "写"},
    Translation{"R {}", "读{}"},
    Translation{"W {}", "写{}"},
    Translation{"system", "整机"},
    Translation{"processors and memory", "处理器和内存"},
    Translation{"CPU {}", "CPU {}"},
    Translation{"GPU {}", "GPU {}"},
    Translation{"ANE {}", "ANE {}"},
    Translation{"DRAM {}", "DRAM {}"},
    Translation{"display {}", "屏幕 {}"},
    Translation{"charging", "充电中"},
    Translation{"on AC", "使用电源"},
    Translation{"on battery", "使用电池"},
    Translation{"{} to full", "{} 后充满"},
    Translation{"{} left", "剩余 {}"},
    Translation{"health {}", "健康 {}"},
    Translation{"{} cycles", "{} 次循环"},
    Translation{"{} old", "{} 前的样本"},
    Translation{"up {}", "已运行 {}"},
    Translation{"{} d {}", "{} 天 {}"},
    Translation{"load average {}", "平均负载 {}"},
    Translation{"free of {} on {}", "可用，共 {}，位于 {}"},
    Translation{"{} AM", "上午{}"},
    Translation{"{} PM", "下午{}"},
    // Rankings
    Translation{"MEMORY", "内存"},
    Translation{"DISK", "磁盘"},
    Translation{"SOCKETS", "套接字"},
    Translation{"POWER", "功耗"},
    Translation{"NAME", "名称"},
    Translation{"none", "无"},
    Translation{"estimate", "估计值"},
    Translation{"counted by the cards' drivers for a second, of the processes that you may look into",
                "由显卡驱动统计一秒，仅限您有权查看的进程"},
    Translation{"estimated from processor time: no driver counts for processes that you may look into",
                "按处理器时间估计：没有驱动统计您有权查看的进程"},
    // The full screen
    Translation{"scale {}", "量程 {}"},
    Translation{"graphs of {}", "曲线 {}"},
    Translation{"load {}", "负载 {}"},
    Translation{"{} free", "可用 {}"},
    Translation{"paused", "已暂停"},
    Translation{"by name", "按名称"},
    Translation{"by PID", "按 PID"},
    Translation{"quit", "退出"},
    Translation{"help", "帮助"},
    Translation{"the rankings", "排行"},
    Translation{"an entry of the first one shown", "选择第一个排行中的一项"},
    Translation{"its command line and user; k asks it to end", "它的命令行和用户；k 请它结束"},
    Translation{"the rankings by value, by name, by PID", "排行按数值、名称或 PID 排序"},
    Translation{"pause, and go on", "暂停，继续"},
    Translation{"slower, faster; graphs then begin anew", "放慢，加快；曲线重新开始"},
    Translation{"draw anew", "重新绘制"},
    Translation{"P, E and C are processors: fast, efficient, of one kind.",
                "P、E 和 C 是处理器：性能核、能效核、单一种类。"},
    Translation{"Any key returns.", "按任意键返回。"},
    Translation{"PID {} of {}", "PID {}，用户 {}"},
    Translation{"Nothing more is known of it here.", "这里没有它的更多信息。"},
    Translation{"Ask it to end (SIGTERM)? y: yes, any other key: no", "请它结束（SIGTERM）？y：是，其他键：否"},
    Translation{"k asks it to end; any other key returns.", "k 请它结束；其他键返回。"},
    Translation{"It has ended already.", "它已经结束了。"},
    Translation{"Asked to end.", "已请它结束。"},
    Translation{"Cannot ask it: {}.", "无法请它结束：{}。"},
    Translation{"asking the helper …", "正在询问监视助手…"},
    Translation{"waiting for the helper …", "正在等待监视助手…"},
    Translation{"last sample {} ago", "最近样本在 {} 前"},
    Translation{"the helper takes no new sample", "监视助手没有新样本"},
    Translation{"watch needs a terminal", "watch 需要终端"},
    Translation{"watch does not know the terminal \"{}\"; TERM=xterm-256color may do",
                "watch 不认识终端 \"{}\"；可以试试 TERM=xterm-256color"},
    // In a bar without a sample
    Translation{"no sample yet", "监视助手尚无数据"},
    Translation{"helper silent", "监视助手无响应"},
    Translation{"helper refuses", "监视助手拒绝访问"},
    Translation{"helper of another version", "监视助手版本不符"},
    Translation{"helper away", "监视助手未运行"},
    // The exporter
    Translation{"cannot listen on {}: {}", "无法在 {} 上监听：{}"},
    Translation{"serving {}", "正在提供 {}"},
    Translation{"whoever reaches {} reads the figures and the names of programs, without a password; 127.0.0.1 is this "
                "machine alone",
                "能访问 {} 的人无需密码即可读取数据和程序名称；127.0.0.1 仅限本机"},
    Translation{"the latest answer is too old", "最近的应答太旧"},
    Translation{"the helper answers again", "监视助手恢复应答"},
    // The page and the history
    Translation{"serving {}; zephlon web --open shows it", "正在提供 {}；用 zephlon web --open 打开"},
    Translation{"it runs already; zephlon web --open shows it, --url prints its address",
                "已在运行；用 zephlon web --open 打开，--url 显示其地址"},
    Translation{"zephlon web does not run", "zephlon web 没有运行"},
    Translation{"there is no {} to open a browser with; open {}", "没有 {}，无法打开浏览器；请打开 {}"},
    Translation{"whoever reads along on the network learns the key to {} and the figures, since nothing is encrypted; "
                "ssh -L is the safe way",
                "数据未加密：网络上的窃听者可得知 {} 的密钥和数据；请改用 ssh -L"},
    Translation{"there is no home directory: the history is not saved", "没有主目录：历史不会保存"},
    Translation{"the history is saved again", "历史已恢复保存"},
    Translation{"the history is not saved: {}", "历史没有保存：{}"},
    Translation{"it is no history", "不是历史文件"},
    Translation{"it is of another version", "版本不符"},
    Translation{"it is damaged", "已损坏"},
    Translation{"it is of another part of the history", "属于历史的另一部分"},
    Translation{"{} belongs to another user", "{} 属于另一个用户"},
    Translation{"{}; set aside as {}", "{}；已改名为 {}"},
    Translation{"{}; it cannot be set aside ({}), so this part of the history is not saved",
                "{}；无法改名（{}），因此这部分历史不会保存"},
    Translation{"{} to {}, a value for each {}", "{} 至 {}，每 {} 一个值"},
    Translation{"least {}, mean {}, greatest {}, last {}", "最小 {}，平均 {}，最大 {}，最近 {}"},
    Translation{"nothing known", "无数据"},
    Translation{"there is no metric \"{}\"; zephlon history --help lists them",
                "没有指标 \"{}\"；zephlon history --help 列出全部"},
    Translation{"there is no metric \"{}\"; did you mean {}?", "没有指标 \"{}\"；是指 {} 吗？"},
    Translation{"--last takes a time such as 90s, 10m, 6h or 3d, at most 14d",
                "--last 接受 90s、10m、6h 或 3d 这样的时间，最多 14d"},
    Translation{"there is no history of that time: it is kept while zephlon web runs",
                "没有那段时间的历史：zephlon web 运行时才会保存"},
    Translation{"this machine has told nothing of {}", "本机没有提供 {} 的数据"},
    // The command line
    Translation{"--metrics takes names, separated by commas, of {}", "--metrics 接受用逗号分隔的名称：{}"},
    Translation{"--levels takes NAME=WARNING,CRITICAL, in percent or °C, separated by commas, of {}",
                "--levels 接受用逗号分隔的 名称=警告,严重（百分比或 °C），名称为：{}"},
    Translation{"{} runs the command again and again itself: leave out --follow",
                "{} 会自己反复运行该命令：请去掉 --follow"},
    // Preferences
    Translation{"a number of seconds greater than 0", "大于 0 的秒数"},
    Translation{"a number of points greater than 0", "大于 0 的点数"},
    Translation{"a whole number from 1 to 10", "1 到 10 的整数"},
    Translation{"one of {}", "{} 之一"},
    Translation{"names, separated by commas, of {}", "用逗号分隔的名称：{}"},
    Translation{"names of metrics", "指标名称的列表"},
    Translation{"stored: {}, but it takes {}", "存储的是 {}，应为 {}"},
    Translation{"of the locale; the helper takes {}", "来自区域设置；监视助手用 {}"},
    Translation{"* is stored; the others have their defaults", "* 为已存储的值；其余为默认值"},
    Translation{"! is stored, but not as a value that it takes; what is in effect stands first",
                "! 已存储但不是可接受的值；行首是实际生效的值"},
    Translation{"{} takes {}, not \"{}\"", "{} 应为 {}，而不是 \"{}\""},
    Translation{"there is no preference \"{}\"; there are {}", "没有偏好设置 \"{}\"；有 {}"},
    Translation{"there is no preference \"{}\"; did you mean {}?", "没有偏好设置 \"{}\"；是指 {} 吗？"},
    Translation{"cannot store the preferences: {}", "无法存储偏好设置：{}"},
    Translation{"Stored.", "已存储。"},
    Translation{"Deleted.", "已删除。"},
    Translation{"A bar that runs reads it at once, the helper and watch at their next start.",
                "正在运行的状态栏立即采用，监视助手和 watch 在下次启动时采用。"},
    // Why there is no answer
    Translation{"there is no home directory to find the token in", "没有主目录，找不到令牌"},
    Translation{"the helper has not run yet: it has left no token{}", "监视助手尚未运行过：没有留下令牌{}"},
    Translation{"; start it with: {}", "；启动命令：{}"},
    Translation{"; this is root's home, under sudo yours is not looked at",
                "；当前为 root 的主目录，sudo 下不会查看您自己的"},
    Translation{"the token's file does not hold a token; delete it and start the helper again",
                "令牌文件里没有令牌；请删除它并重新启动监视助手"},
    Translation{"the answer broke off", "应答中断"},
    Translation{"the helper refuses the token", "监视助手拒绝了令牌"},
    Translation{"the helper does not know the question", "监视助手不认识这个请求"},
    Translation{"what listens there does not answer as the helper does", "那里监听的程序不像监视助手那样应答"},
    Translation{"no helper listens on {}{}", "{} 上没有监视助手在监听{}"},
    Translation{"another user's program listens on {}; set ZQM_PORT to a port of your own for the helper and zephlon",
                "{} 上监听的是另一个用户的程序；请用 ZQM_PORT 为监视助手和 zephlon 指定您自己的端口"},
    Translation{"the helper on {} does not answer", "{} 上的监视助手没有应答"},
    Translation{"the answer on {} broke off", "{} 上的应答中断"},
    Translation{"the answer on {} has no end", "{} 上的应答没有结尾"},
    Translation{"the helper is still starting: there is no sample yet", "监视助手仍在启动：尚无样本"},
    Translation{"the helper is of another version: {}", "监视助手版本不符：{}"},
    Translation{"the helper's latest sample is older than three intervals", "监视助手的最近样本已超过三个间隔"},
    Translation{"the helper's reply is not known", "不认识监视助手的答复"},
    Translation{"cannot write the output", "无法写出结果"},
    Translation{"cannot write {}", "无法写入 {}"},
    Translation{"The report was sent.", "报告已发送。"},
    Translation{"the report was not sent: {}", "报告没有发送：{}"},
    Translation{"there is no {} beside zephlon or on PATH; install it with zephlon or extend PATH",
                "zephlon 旁边和 PATH 中都没有 {}；请与 zephlon 一起安装，或扩充 PATH"},
    Translation{"{} --sources prints no table; run it by hand to see why",
                "{} --sources 没有输出表格；请手动运行以查明原因"},
};

/// A text of the table by its English form; what the table does not hold does not compile.
class Phrase {
public:
    consteval Phrase(const char* english) : index_(find(english)) {}  // NOLINT(google-explicit-constructor)

    constexpr std::string_view in(AppLanguage language) const {
        const Translation& found = translations[index_];
        return language == AppLanguage::chinese ? found.chinese : found.english;
    }

private:
    static consteval std::size_t find(std::string_view english) {
        std::size_t i = 0;
        while (translations.at(i).english != english) ++i;  // past the end is no constant expression
        return i;
    }

    std::size_t index_;
};

/// The text in the program's language, with `parts` where "{}" stands.
std::string filled(std::string_view text, std::initializer_list<std::string_view> parts);
template <class... Parts>
std::string said(Phrase phrase, const Parts&... parts) {
    return filled(phrase.in(L10n::language), {parts...});
}

/// Takes the locale's characters: those of C.UTF-8 where it is a locale of UTF-8 that is not installed. Once, first.
void takeLocale();

/// What the user has stored, else what the locale speaks: Chinese, where its characters can show that, or English.
AppLanguage clientLanguage(UserDefaults& defaults);

}  // namespace zqm

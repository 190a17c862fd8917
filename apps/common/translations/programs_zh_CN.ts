<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="zh_CN" sourcelanguage="en">
<context>
    <name>programs</name>
    <message>
        <source>; did you mean &quot;%1&quot;?</source>
        <translation>；您是否想输入“%1”？</translation>
    </message>
    <message>
        <source>missing argument: %1</source>
        <translation>缺少参数：%1</translation>
    </message>
    <message>
        <source>Print this help and exit</source>
        <translation>显示本帮助并退出</translation>
    </message>
    <message>
        <source>Print the version and exit</source>
        <translation>显示版本并退出</translation>
    </message>
    <message>
        <source>Configuration file (default: %1.conf in ~/.config or /etc/xdg)</source>
        <translation>配置文件（默认：~/.config 或 /etc/xdg 中的 %1.conf）</translation>
    </message>
    <message>
        <source>Common options</source>
        <translation>通用选项</translation>
    </message>
    <message>
        <source>Minimum severity of the messages logged to standard error</source>
        <translation>向标准错误输出日志的最低级别</translation>
    </message>
    <message>
        <source>Commands</source>
        <translation>命令</translation>
    </message>
    <message>
        <source>Options</source>
        <translation>选项</translation>
    </message>
    <message>
        <source>%1 needs a value</source>
        <translation>%1 需要一个值</translation>
    </message>
    <message>
        <source>the configuration file %1 cannot be read</source>
        <translation>无法读取配置文件 %1</translation>
    </message>
    <message>
        <source>a command is missing</source>
        <translation>缺少命令</translation>
    </message>
    <message>
        <source>unknown command &quot;%1&quot;</source>
        <translation>未知命令“%1”</translation>
    </message>
    <message>
        <source>unknown option %1</source>
        <translation>未知选项 %1</translation>
    </message>
    <message>
        <source>unexpected argument &quot;%1&quot;</source>
        <translation>多余的参数“%1”</translation>
    </message>
    <message>
        <source>Try &quot;%1 --help&quot;.</source>
        <translation>请参阅“%1 --help”。</translation>
    </message>
    <message>
        <source>Usage</source>
        <translation>用法</translation>
    </message>
    <message>
        <source>OPTIONS</source>
        <translation>选项</translation>
    </message>
    <message>
        <source>COMMAND</source>
        <translation>命令</translation>
    </message>
    <message>
        <source>Arguments</source>
        <translation>参数</translation>
    </message>
    <message>
        <source>no such folder: %1</source>
        <translation>文件夹不存在：%1</translation>
    </message>
    <message>
        <source>building a store of %1 ...</source>
        <translation>正在由 %1 生成数据库……</translation>
    </message>
    <message>
        <source> (default: %1)</source>
        <translation>（默认：%1）</translation>
    </message>
    <message>
        <source>&quot;%1&quot; is not one of %2</source>
        <translation>“%1”不在可选值之列：%2</translation>
    </message>
    <message>
        <source>%1: %2</source>
        <translation>%1：%2</translation>
    </message>
    <message>
        <source>a value is missing</source>
        <translation>缺少值</translation>
    </message>
    <message>
        <source>&quot;%1&quot; is not an integer of at least %2</source>
        <translation>“%1”不是不小于 %2 的整数</translation>
    </message>
    <message>
        <source>&quot;%1&quot; is not a number of seconds, at most %2</source>
        <translation>“%1”不是有效的秒数（最大 %2）</translation>
    </message>
    <message>
        <source>cannot write %1: %2</source>
        <translation>无法写入 %1：%2</translation>
    </message>
    <message>
        <source>standard output</source>
        <translation>标准输出</translation>
    </message>
    <message>
        <source>the connection to the bus is %1</source>
        <translation>总线连接%1</translation>
    </message>
    <message>
        <source>the broker refuses: %1</source>
        <translation>消息服务器拒绝：%1</translation>
    </message>
    <message>
        <source>the broker does not answer</source>
        <translation>消息服务器没有响应</translation>
    </message>
    <message>
        <source>connected since %1</source>
        <translation>自 %1 起已连接</translation>
    </message>
    <message>
        <source>reconnecting since %1</source>
        <translation>自 %1 起正在重连</translation>
    </message>
    <message>
        <source>slow consumer since %1</source>
        <translation>自 %1 起接收跟不上</translation>
    </message>
    <message>
        <source>closed at %1</source>
        <translation>已于 %1 关闭</translation>
    </message>
    <message>
        <source>no service for this type</source>
        <translation>没有处理此类请求的服务</translation>
    </message>
    <message>
        <source>the receiver's queue is full</source>
        <translation>接收方队列已满</translation>
    </message>
    <message>
        <source>the receiver has gone</source>
        <translation>接收方已离开</translation>
    </message>
    <message>
        <source>no request awaits this answer</source>
        <translation>没有等待此应答的请求</translation>
    </message>
    <message>
        <source>the message cannot be read or written</source>
        <translation>消息无法解析或编码</translation>
    </message>
    <message>
        <source>the connection did not take it</source>
        <translation>连接未能发送</translation>
    </message>
    <message>
        <source>lost on the way</source>
        <translation>途中丢失</translation>
    </message>
    <message>
        <source>replaced by a newer one for a slow receiver</source>
        <translation>接收缓慢，已由更新的一条代替</translation>
    </message>
    <message>
        <source>&quot;%1&quot; is neither a positive number nor max</source>
        <translation>“%1”既不是正数，也不是 max</translation>
    </message>
    <message>
        <source>Bus options</source>
        <translation>总线选项</translation>
    </message>
    <message>
        <source>Bus to join: nats://[USER[:PASSWORD]@]HOST:PORT, or tls://... with encryption (default: the environment variable LX_BUS_URL; %1)</source>
        <translation>要加入的总线：nats://[用户[:密码]@]主机:端口，或 tls://……（默认：环境变量 LX_BUS_URL；%1）</translation>
    </message>
    <message>
        <source>Trusted CA certificates, PEM (default: the environment variable LX_BUS_CA, or the system&apos;s)</source>
        <translation>受信任的 CA 证书，PEM 格式（默认：环境变量 LX_BUS_CA，或系统证书）</translation>
    </message>
    <message>
        <source>NATS credentials file (default: the environment variable LX_BUS_CREDENTIALS, or none)</source>
        <translation>消息服务器的凭据文件（默认：环境变量 LX_BUS_CREDENTIALS，或不使用）</translation>
    </message>
    <message>
        <source>&quot;%1&quot; is not a time of day</source>
        <translation>“%1”不是有效的时间</translation>
    </message>
    <message>
        <source>Replay options</source>
        <translation>回放选项</translation>
    </message>
    <message>
        <source>Replay this date, yyyy-MM-dd or yyyyMMdd (default: %1)</source>
        <translation>回放的日期，yyyy-MM-dd 或 yyyyMMdd（默认：%1）</translation>
    </message>
    <message>
        <source>the latest recorded date</source>
        <translation>录制数据中最近的一天</translation>
    </message>
    <message>
        <source>&quot;%1&quot; is not a date</source>
        <translation>“%1”不是有效的日期</translation>
    </message>
    <message>
        <source>Replay records of this time of day and later, HH:mm or HH:mm:ss (default: %1)</source>
        <translation>从该时间开始回放，HH:mm 或 HH:mm:ss（默认：%1）</translation>
    </message>
    <message>
        <source>the first one</source>
        <translation>第一条记录</translation>
    </message>
    <message>
        <source>Replay records of this time of day and earlier</source>
        <translation>回放到该时间为止</translation>
    </message>
    <message>
        <source>Do not skip pauses, such as the lunch break</source>
        <translation>在没有行情的时段（如午间休市）也照常等待</translation>
    </message>
    <message>
        <source>Multiple of real time (default: %1)</source>
        <translation>相对于实际时间的倍速（默认：%1）</translation>
    </message>
    <message>
        <source>nobody on the bus serves this request</source>
        <translation>总线上没有处理该请求的服务</translation>
    </message>
    <message>
        <source>no service since %1</source>
        <translation>自 %1 起没有服务</translation>
    </message>
    <message>
        <source>no service on the bus</source>
        <translation>总线上没有服务</translation>
    </message>
    <message>
        <source>no service publishes; requests are answered</source>
        <translation>没有服务发布行情，但有服务应答请求</translation>
    </message>
    <message>
        <source>the replay of %1 has ended</source>
        <translation>%1 的回放已结束</translation>
    </message>
    <message>
        <source>%1 published</source>
        <translation>已发布 %1 条</translation>
    </message>
    <message>
        <source>by %1 services at the same time</source>
        <translation>由 %1 个服务同时发布</translation>
    </message>
    <message>
        <source>the market time has gone back from %1 to %2</source>
        <translation>行情时间从 %1 回到 %2</translation>
    </message>
    <message>
        <source>another day is replayed: %1 after %2</source>
        <translation>现在回放另一日：%1（此前为 %2）</translation>
    </message>
    <message>
        <source>nobody publishes; --limit %1 has not been reached</source>
        <translation>无人发布，未达到 --limit %1</translation>
    </message>
    <message>
        <source>a service publishes: %1</source>
        <translation>有服务发布：%1</translation>
    </message>
    <message>
        <source>no answer in time</source>
        <translation>超时未收到应答</translation>
    </message>
    <message>
        <source>Market options</source>
        <translation>行情选项</translation>
    </message>
    <message>
        <source>Folder of the recordings; with --bus, of securities.csv only, for the names</source>
        <translation>录制数据所在文件夹；使用 --bus 时只从中读取 securities.csv（证券名称）</translation>
    </message>
    <message>
        <source>without any, the program serves itself from the recordings</source>
        <translation>不指定时由程序自行回放录制数据</translation>
    </message>
    <message>
        <source>--%1 cannot be combined with a bus (--bus or LX_BUS_URL), where others serve</source>
        <translation>--%1 不能与总线（--bus 或 LX_BUS_URL）同时使用，总线上的数据由其他服务提供</translation>
    </message>
    <message>
        <source>bus %1</source>
        <translation>总线%1</translation>
    </message>
    <message>
        <source>Terminal options</source>
        <translation>终端选项</translation>
    </message>
    <message>
        <source>Red rises (cn), green rises (us), or no colours</source>
        <translation>配色，红涨绿跌（cn）、绿涨红跌（us）或不着色（none）</translation>
    </message>
    <message>
        <source>Print the bars of a symbol, or draw them as candles</source>
        <translation>输出证券的 K 线，或绘制蜡烛图</translation>
    </message>
    <message>
        <source>Candles are the default on a terminal, a table elsewhere.
Exit codes: 0; 1 if there are no bars; 2 for a usage error; 3 if nobody answers.</source>
        <translation>在终端上默认绘制蜡烛图，否则默认输出表格。
退出码：0 成功；1 没有 K 线；2 用法错误；3 无应答。</translation>
    </message>
    <message>
        <source>Length of a bar</source>
        <translation>K 线周期</translation>
    </message>
    <message>
        <source>Adjustment of prices for dividends, bonus and rights issues, which leaves the latest (forward) or the earliest (backward) prices as they were traded</source>
        <translation>复权方式：前复权（forward）保持最新价格不变，后复权（backward）保持最早价格不变</translation>
    </message>
    <message>
        <source>First day, yyyy-MM-dd or yyyyMMdd</source>
        <translation>起始日期，yyyy-MM-dd 或 yyyyMMdd</translation>
    </message>
    <message>
        <source>Last day, yyyy-MM-dd or yyyyMMdd</source>
        <translation>截止日期，yyyy-MM-dd 或 yyyyMMdd</translation>
    </message>
    <message>
        <source>A symbol (600519.SH), code, name or its pinyin initials (mdjt)</source>
        <translation>证券代码（600519.SH 或 600519）、名称或拼音首字母（mdjt）</translation>
    </message>
    <message>
        <source>--from and --to are missing</source>
        <translation>缺少 --from 和 --to</translation>
    </message>
    <message>
        <source>--to is before --from</source>
        <translation>--to 早于 --from</translation>
    </message>
    <message>
        <source>no bars of %1 in this range</source>
        <translation>该区间内没有 %1 的 K 线</translation>
    </message>
    <message>
        <source>%1, %2 bars, %3 to %4</source>
        <translation>%1，共 %2 根 K 线，%3 至 %4</translation>
    </message>
    <message>
        <source>Shows market data through the quotation library.</source>
        <translation>通过行情库显示市场数据。</translation>
    </message>
    <message>
        <source>%1; row skipped</source>
        <translation>%1；该行已跳过</translation>
    </message>
    <message>
        <source>Exit codes: 0; 1 if the service knows nothing of a symbol; 2 for a usage error; 3 if nobody answers.</source>
        <translation>退出码：0 成功；1 服务没有某只证券的数据；2 用法错误；3 无应答。</translation>
    </message>
    <message>
        <source>no answer for %1</source>
        <translation>没有 %1 的应答</translation>
    </message>
    <message>
        <source>nothing is known of %1</source>
        <translation>没有 %1 的数据</translation>
    </message>
    <message>
        <source>Print the share capital and the net assets per share of symbols</source>
        <translation>输出证券的股本与每股净资产</translation>
    </message>
    <message>
        <source>Print the price-earnings figures of symbols</source>
        <translation>输出证券的市盈率数据</translation>
    </message>
    <message>
        <source>Print the average volume per trading minute of the last five days of symbols</source>
        <translation>输出证券最近五日每分钟平均成交量（用于量比）</translation>
    </message>
    <message>
        <source>Print the counts of consecutive rising days of symbols</source>
        <translation>输出证券的连涨天数</translation>
    </message>
    <message>
        <source>Store built by marketd import (default: one in the user's cache, built from the recordings when it is missing or outdated)</source>
        <translation>由 marketd import 生成的数据库（默认：用户缓存中的数据库，缺失或过期时由录制数据重新生成）</translation>
    </message>
    <message>
        <source>Longest time to wait for answers</source>
        <translation>等待应答的最长时间</translation>
    </message>
    <message>
        <source>Output options</source>
        <translation>输出选项</translation>
    </message>
    <message>
        <source>One of</source>
        <translation>输出格式</translation>
    </message>
    <message>
        <source>Print these fields only, separated by commas</source>
        <translation>只输出这些字段，以逗号分隔</translation>
    </message>
    <message>
        <source>&quot;%1&quot; is not a field; the fields are %2</source>
        <translation>没有字段“%1”；可用字段：%2</translation>
    </message>
    <message>
        <source>&quot;%1&quot; is not a field; did you mean &quot;%2&quot;?</source>
        <translation>没有字段“%1”；您是否想输入“%2”？</translation>
    </message>
    <message>
        <source>End after N records</source>
        <translation>输出 N 条记录后结束</translation>
    </message>
    <message>
        <source>Write into FILE instead of standard output</source>
        <translation>写入文件而不是标准输出</translation>
    </message>
    <message>
        <source>CSV output holds records of one type: select fields (--fields), or use --format ndjson</source>
        <translation>CSV 只能包含一种记录：请用 --fields 选择字段，或使用 --format ndjson</translation>
    </message>
    <message>
        <source>ask %1</source>
        <translation>卖%1</translation>
    </message>
    <message>
        <source>bid %1</source>
        <translation>买%1</translation>
    </message>
    <message>
        <source>Print the last quotes whole, with the order book</source>
        <translation>输出完整的最新行情及买卖盘口</translation>
    </message>
    <message>
        <source>The quotes are those at the end of a replay of recordings, or the latest of a bus, which are waited for. A figure that is unknown is &quot;-&quot;, or null in JSON.
Exit codes: 0; 1 if a symbol has no quote or the bus fails; 2 for a usage error; 3 if a quote of the bus does not come in time.</source>
        <translation>显示录制数据回放结束时的行情；使用总线时等待并显示最新行情。未知的数值显示为“-”，在 JSON 中为 null。
退出码：0 成功；1 某只证券没有行情或总线故障；2 用法错误；3 超时未收到总线行情。</translation>
    </message>
    <message>
        <source>Longest time to wait for quotes of a bus</source>
        <translation>等待总线行情的最长时间</translation>
    </message>
    <message>
        <source>PE, PB, turnover rate and market values are unknown: %1</source>
        <translation>市盈率、市净率、换手率和市值未知：%1</translation>
    </message>
    <message>
        <source>no quote of %1 has come from the bus; perhaps nobody publishes it</source>
        <translation>没有从总线收到 %1 的行情，可能没有服务发布</translation>
    </message>
    <message>
        <source>nothing has come from the bus; perhaps nobody publishes this</source>
        <translation>没有从总线收到任何数据，可能没有服务发布</translation>
    </message>
    <message>
        <source>no quote of %1 on %2</source>
        <translation>没有 %1 在 %2 的行情</translation>
    </message>
    <message>
        <source>Search securities, and tell what data there is of them</source>
        <translation>搜索证券，并列出已有的数据</translation>
    </message>
    <message>
        <source>Without TEXT: the securities of which there are recordings or bars. The data are those of the folder, even if there is a bus. Recorded days can be replayed.
Exit codes: 0; 1 if nothing is found; 2 for a usage error.</source>
        <translation>不带 TEXT 时列出有录制数据或 K 线的证券。即使指定了总线，也只列出文件夹中的数据。有录制数据的日期可以回放。
退出码：0 成功；1 没有找到；2 用法错误。</translation>
    </message>
    <message>
        <source>Part of a symbol, of a name or of its pinyin initials</source>
        <translation>代码、名称或拼音首字母的一部分</translation>
    </message>
    <message>
        <source>nothing matches &quot;%1&quot;</source>
        <translation>没有与“%1”匹配的证券</translation>
    </message>
    <message>
        <source>%1 has no securities.csv: securities have no names</source>
        <translation>%1 中没有 securities.csv：证券名称无法显示</translation>
    </message>
    <message>
        <source>&quot;%1&quot; is not a symbol such as 600519.SH</source>
        <translation>“%1”不是有效的证券代码（例如 600519.SH）</translation>
    </message>
    <message>
        <source>&quot;%1&quot; is ambiguous: %2</source>
        <translation>“%1”对应多只证券：%2</translation>
    </message>
    <message>
        <source>unknown symbol &quot;%1&quot;</source>
        <translation>未知证券“%1”</translation>
    </message>
    <message>
        <source>unknown symbol &quot;%1&quot;; did you mean %2?</source>
        <translation>未知证券“%1”；您是否想输入 %2？</translation>
    </message>
    <message>
        <source>Symbols</source>
        <translation>证券</translation>
    </message>
    <message>
        <source>Read symbols from FILE, separated by blanks, commas or line ends</source>
        <translation>从文件读取证券，以空格、逗号或换行分隔</translation>
    </message>
    <message>
        <source>All symbols that are recorded, in a replay those of its day; on a bus, all of securities.csv</source>
        <translation>所有有录制数据的证券，回放时为当天的证券；使用总线时为 securities.csv 中的全部证券</translation>
    </message>
    <message>
        <source>Symbols (600519.SH), codes (600519, SH600519), names, or their pinyin initials (mdjt), separated by blanks or commas</source>
        <translation>证券代码（600519.SH、600519、SH600519）、名称或拼音首字母（mdjt），以空格或逗号分隔</translation>
    </message>
    <message>
        <source>cannot read %1: %2</source>
        <translation>无法读取 %1：%2</translation>
    </message>
    <message>
        <source>no symbol is given</source>
        <translation>没有指定证券</translation>
    </message>
    <message>
        <source>Print the trading day some days after a date, or before it</source>
        <translation>输出某日之后或之前第 N 个交易日</translation>
    </message>
    <message>
        <source>The date itself is not counted.
Exit codes: 0; 1 if the calendar has no such day; 2 for a usage error; 3 if nobody answers.</source>
        <translation>不含该日期本身。
退出码：0 成功；1 日历中没有这一天；2 用法错误；3 无应答。</translation>
    </message>
    <message>
        <source>yyyy-MM-dd or yyyyMMdd</source>
        <translation>yyyy-MM-dd 或 yyyyMMdd</translation>
    </message>
    <message>
        <source>Number of trading days, for example 5 or -1</source>
        <translation>交易日数，例如 5 或 -1</translation>
    </message>
    <message>
        <source>&quot;%1&quot; is not a number of days</source>
        <translation>“%1”不是有效的天数</translation>
    </message>
    <message>
        <source>no trading day is known %1 trading days from %2</source>
        <translation>未知距 %2 %1 个交易日的日期</translation>
    </message>
    <message>
        <source>symbol</source>
        <translation>代码</translation>
    </message>
    <message>
        <source>name</source>
        <translation>名称</translation>
    </message>
    <message>
        <source>last</source>
        <translation>最新</translation>
    </message>
    <message>
        <source>change</source>
        <translation>涨跌</translation>
    </message>
    <message>
        <source>change%</source>
        <translation>涨跌幅</translation>
    </message>
    <message>
        <source>volume</source>
        <translation>成交量</translation>
    </message>
    <message>
        <source>turnover</source>
        <translation>成交额</translation>
    </message>
    <message>
        <source>bid 1</source>
        <translation>买一价</translation>
    </message>
    <message>
        <source>ask 1</source>
        <translation>卖一价</translation>
    </message>
    <message>
        <source>ampl.</source>
        <translation>振幅</translation>
    </message>
    <message>
        <source>time</source>
        <translation>时间</translation>
    </message>
    <message>
        <source>buy</source>
        <translation>买入</translation>
    </message>
    <message>
        <source>sell</source>
        <translation>卖出</translation>
    </message>
    <message>
        <source>trade</source>
        <translation>成交</translation>
    </message>
    <message>
        <source>%1 shares</source>
        <translation>%1 股</translation>
    </message>
    <message>
        <source>%1 lots</source>
        <translation>%1 手</translation>
    </message>
    <message>
        <source>top by change:</source>
        <translation>涨幅榜：</translation>
    </message>
    <message>
        <source>top by turnover:</source>
        <translation>成交额榜：</translation>
    </message>
    <message>
        <source>top by amplitude:</source>
        <translation>振幅榜：</translation>
    </message>
    <message>
        <source>%1: %2 up (%3 limit), %4 down (%5 limit), %6 unchanged</source>
        <translation>%1：上涨 %2（涨停 %3），下跌 %4（跌停 %5），平盘 %6</translation>
    </message>
    <message>
        <source>read</source>
        <translation>读取</translation>
    </message>
    <message>
        <source>published</source>
        <translation>发布</translation>
    </message>
    <message>
        <source>announced</source>
        <translation>通知</translation>
    </message>
    <message>
        <source>dropped</source>
        <translation>丢弃</translation>
    </message>
    <message>
        <source>skipped</source>
        <translation>跳过</translation>
    </message>
    <message>
        <source>%1 records announced in %2 s (%3/s)</source>
        <translation>%2 秒内通知 %1 条记录（每秒 %3 条）</translation>
    </message>
    <message>
        <source>dropped by the bus: %1</source>
        <translation>总线丢弃：%1</translation>
    </message>
    <message>
        <source>Show quotes and trades as they change</source>
        <translation>实时显示行情与逐笔成交</translation>
    </message>
    <message>
        <source>A table that updates in place on a terminal, else a line per update. Ends with the recording or on Ctrl-C, with a summary: records read; published, that is, of the symbols watched; announced by the library; dropped by the bus; skipped as broken. Of a bus only what it delivered is known: records announced and dropped. With --limit it ends when nobody publishes.
Exit codes: 0; 1 if the bus or the output fails; 2 for a usage error; 3 if nothing has come from the bus, or nobody publishes before the limit is reached.</source>
        <translation>在终端上显示原位刷新的表格，否则每次更新输出一行。回放结束或按 Ctrl-C 时结束，并输出统计：读取的记录；发布的记录，即所关注证券的记录；行情库通知的记录；总线丢弃的记录；因损坏而跳过的记录。使用总线时只知道收到的部分：通知和丢弃的记录。指定 --limit 时，若无人发布则结束。
退出码：0 成功；1 总线或输出故障；2 用法错误；3 没有从总线收到任何数据，或在达到限额之前无人发布。</translation>
    </message>
    <message>
        <source>What to show, separated by commas</source>
        <translation>显示的内容，以逗号分隔</translation>
    </message>
    <message>
        <source>as given</source>
        <translation>默认顺序</translation>
    </message>
    <message>
        <source>by change</source>
        <translation>按涨跌幅</translation>
    </message>
    <message>
        <source>by turnover</source>
        <translation>按成交额</translation>
    </message>
    <message>
        <source>by symbol</source>
        <translation>按代码</translation>
    </message>
    <message>
        <source>PAUSED</source>
        <translation>已暂停</translation>
    </message>
    <message>
        <source>%1: %2 rows</source>
        <translation>%1：%2 行</translation>
    </message>
    <message>
        <source>Folder of CSV files, plain or .gz</source>
        <translation>CSV 文件所在文件夹，可为 .gz 压缩文件</translation>
    </message>
    <message>
        <source>File to write</source>
        <translation>要写入的文件</translation>
    </message>
    <message>
        <source>Build a store from a folder of recorded data</source>
        <translation>由录制数据文件夹生成数据库</translation>
    </message>
    <message>
        <source>The service answers requests from the store. An existing store is replaced once the new one is complete; it stays unchanged if a file has broken rows.
Exit codes: 0; 1 if a file is invalid or the store cannot be written; 2 for a usage error, or if DIR is not a folder of recorded data.</source>
        <translation>服务根据数据库应答请求。新数据库完成后才替换原有数据库；如果文件中有损坏的行，原有数据库保持不变。
退出码：0 成功；1 文件损坏或数据库无法写入；2 用法错误，包括 DIR 不是录制数据文件夹。</translation>
    </message>
    <message>
        <source>The market-data service.</source>
        <translation>行情数据服务。</translation>
    </message>
    <message>
        <source>metrics cannot be served at %1: %2</source>
        <translation>无法在 %1 提供监控指标：%2</translation>
    </message>
    <message>
        <source>unknown reason</source>
        <translation>原因不明</translation>
    </message>
    <message>
        <source>--metrics: &quot;%1&quot; is not of the form HOST:PORT</source>
        <translation>--metrics：“%1”不是 HOST:PORT 的形式</translation>
    </message>
    <message>
        <source>Write what a bus carries as recordings</source>
        <translation>把总线上的行情写成录制数据</translation>
    </message>
    <message>
        <source>Runs until SIGINT or SIGTERM. Writes a file for each kind of record and each date, which marketd serve replays; the line &quot;marketd: ready&quot; is logged once the broker knows what is wanted. A file that exists is not changed. The first record of a symbol is the latest one that its publisher knows.
Exit codes: 0; 1 if the bus fails, a file cannot be written, or records were lost; 2 for a usage error.</source>
        <translation>持续运行，直到收到 SIGINT 或 SIGTERM。每种记录每个日期写一个文件，可由 marketd serve 回放；消息服务器登记订阅后，日志中出现“marketd: ready”一行。已有的文件不会被改动。每只证券的第一条记录是发布方已知的最新一条。
退出码：0 成功；1 总线故障、文件无法写入或有记录丢失；2 用法错误。</translation>
    </message>
    <message>
        <source>Write into this folder, which is created if it is missing; required</source>
        <translation>写入的文件夹，不存在时自动创建；必须指定</translation>
    </message>
    <message>
        <source>Without a SYMBOL, record all of securities.csv in this folder</source>
        <translation>未指定 SYMBOL 时，录制该文件夹 securities.csv 中的全部证券</translation>
    </message>
    <message>
        <source>Record these symbols (600519.SH)</source>
        <translation>要录制的证券代码（600519.SH）</translation>
    </message>
    <message>
        <source>one of the two is required</source>
        <translation>两者必须指定其一</translation>
    </message>
    <message>
        <source>no bus: use --bus, or LX_BUS_URL in the environment</source>
        <translation>没有指定总线：请使用 --bus 或环境变量 LX_BUS_URL</translation>
    </message>
    <message>
        <source>no folder to write into: use --out</source>
        <translation>没有指定写入的文件夹：请使用 --out</translation>
    </message>
    <message>
        <source>%1: the folder cannot be created</source>
        <translation>%1：无法创建文件夹</translation>
    </message>
    <message>
        <source>%1 messages were dropped that have no symbol, date or time</source>
        <translation>已丢弃 %1 条缺少代码、日期或时间的消息</translation>
    </message>
    <message>
        <source>the recording is incomplete: the bus dropped %1 records</source>
        <translation>录制不完整：总线丢弃了 %1 条记录</translation>
    </message>
    <message>
        <source>Answer requests and replay recordings on a bus</source>
        <translation>在总线上应答请求并回放录制数据</translation>
    </message>
    <message>
        <source>Runs until SIGINT or SIGTERM; continues to answer requests after the end of the replay. Logs to standard error; the line &quot;marketd: ready&quot; means that all services have joined the bus. Several services can share a bus; each request is answered by one of them. At --speed max records are sent in batches, for throughput; at any other speed each one is sent immediately, for low latency.
The broker must have JetStream: the service creates two streams, in which clients find what they have missed.
Exit codes: 0; 1 if the bus, the store or a recording fails; 2 for a usage error, or if there are no recordings of the date.</source>
        <translation>持续运行，直到收到 SIGINT 或 SIGTERM；回放结束后继续应答请求。日志写入标准错误；所有服务登记到总线后，日志中出现“marketd: ready”一行。多个服务可以共用一条总线，每个请求由其中之一应答。--speed max 时批量发送记录以提高吞吐量，其他速度下逐条立即发送以降低延迟。
消息服务器必须启用 JetStream：服务会创建两个流，客户端从中补齐错过的记录。
退出码：0 成功；1 总线、数据库或录制数据出错；2 用法错误，或没有该日期的录制数据。</translation>
    </message>
    <message>
        <source>Replay the recordings in this folder</source>
        <translation>回放该文件夹中的录制数据</translation>
    </message>
    <message>
        <source>Answer requests from this store, built by marketd import</source>
        <translation>根据该数据库（由 marketd import 生成）应答请求</translation>
    </message>
    <message>
        <source>Repeat the replay</source>
        <translation>循环回放</translation>
    </message>
    <message>
        <source>Serve /metrics (Prometheus) and /healthz at this address, for example 127.0.0.1:9110</source>
        <translation>在此地址提供 /metrics（Prometheus）和 /healthz，例如 127.0.0.1:9110</translation>
    </message>
    <message>
        <source>nothing to serve: use --data, --store or both</source>
        <translation>没有可提供的数据：请使用 --data、--store 或两者</translation>
    </message>
    <message>
        <source>--%1 requires --data</source>
        <translation>--%1 需要 --data</translation>
    </message>
    <message>
        <source>the reference price of %1 on %2 cannot be computed from the recorded data</source>
        <translation>无法由已有数据计算 %1 在 %2 的除权除息参考价</translation>
    </message>
    <message>
        <source>a quotation mark within a cell</source>
        <translation>单元格中间出现引号</translation>
    </message>
    <message>
        <source>a record of more than %1 bytes</source>
        <translation>一条记录超过 %1 字节</translation>
    </message>
    <message>
        <source>the file ends within a quoted cell of the record at this line</source>
        <translation>文件在该行记录的引号单元格内结束</translation>
    </message>
    <message>
        <source>a folder, not a file</source>
        <translation>这是文件夹，不是文件</translation>
    </message>
    <message>
        <source>the file is empty</source>
        <translation>文件为空</translation>
    </message>
    <message>
        <source>%1: the column MDDate, MDTime or Symbol is missing</source>
        <translation>%1：缺少 MDDate、MDTime 或 Symbol 列</translation>
    </message>
    <message>
        <source>%1 cells instead of %2</source>
        <translation>有 %1 个单元格，应为 %2 个</translation>
    </message>
    <message>
        <source>MDDate &quot;%1&quot; is not a date</source>
        <translation>MDDate“%1”不是有效的日期</translation>
    </message>
    <message>
        <source>MDDate %1 in a recording of %2</source>
        <translation>%2 的录制数据中出现 MDDate %1</translation>
    </message>
    <message>
        <source>MDTime &quot;%1&quot; is not a time</source>
        <translation>MDTime“%1”不是有效的时间</translation>
    </message>
    <message>
        <source>Symbol is missing</source>
        <translation>缺少 Symbol</translation>
    </message>
    <message>
        <source>%1 &quot;%2&quot; is negative</source>
        <translation>%1“%2”为负数</translation>
    </message>
    <message>
        <source>HighPx %1 is below LowPx %2</source>
        <translation>HighPx %1 低于 LowPx %2</translation>
    </message>
    <message>
        <source>%1: further broken rows: %2</source>
        <translation>%1：另有损坏行：%2</translation>
    </message>
    <message>
        <source>%1: the recordings contain broken rows only</source>
        <translation>%1：录制数据中只有损坏的行</translation>
    </message>
    <message>
        <source>%1 &quot;%2&quot; is not a number</source>
        <translation>%1“%2”不是数字</translation>
    </message>
    <message>
        <source>no such folder</source>
        <translation>文件夹不存在</translation>
    </message>
    <message>
        <source>not a folder</source>
        <translation>不是文件夹</translation>
    </message>
    <message>
        <source>the folder cannot be read (permission denied)</source>
        <translation>无法读取文件夹（权限不足）</translation>
    </message>
    <message>
        <source>there is also %1.gz; remove one of the two</source>
        <translation>同时存在 %1.gz；请删除其中之一</translation>
    </message>
    <message>
        <source>no file %1.csv or %1.csv.gz</source>
        <translation>没有文件 %1.csv 或 %1.csv.gz</translation>
    </message>
    <message>
        <source>a link to a missing file</source>
        <translation>链接指向的文件不存在</translation>
    </message>
    <message>
        <source>the file cannot be read (permission denied)</source>
        <translation>无法读取文件（权限不足）</translation>
    </message>
    <message>
        <source>%1: another import is writing it</source>
        <translation>%1：另一个导入正在写入</translation>
    </message>
    <message>
        <source>%1: cannot write to its folder</source>
        <translation>%1：无法写入其所在文件夹</translation>
    </message>
    <message>
        <source>%1; it is left unchanged</source>
        <translation>%1；该文件保持不变</translation>
    </message>
    <message>
        <source>%1: the column %2 is missing</source>
        <translation>%1：缺少 %2 列</translation>
    </message>
    <message>
        <source>%1 (the first of %2 broken rows)</source>
        <translation>%1（共 %2 行损坏，此为第一行）</translation>
    </message>
    <message>
        <source>%1 is missing</source>
        <translation>缺少 %1</translation>
    </message>
    <message>
        <source>invalid %1 %2</source>
        <translation>%1 的值 %2 无效</translation>
    </message>
    <message>
        <source>repeats the key of an earlier row</source>
        <translation>与前面的行重复</translation>
    </message>
    <message>
        <source>%1: no recordings in this folder</source>
        <translation>%1：该文件夹中没有录制数据</translation>
    </message>
    <message>
        <source>%1: no recordings of %2; there are recordings of %3</source>
        <translation>%1：没有 %2 的录制数据；已有的日期：%3</translation>
    </message>
    <message>
        <source>any date</source>
        <translation>任何日期</translation>
    </message>
    <message>
        <source>no date</source>
        <translation>无</translation>
    </message>
    <message>
        <source>%1: no recordings of %2 in this folder</source>
        <translation>%1：该文件夹中没有 %2 的录制数据</translation>
    </message>
    <message>
        <source>%1: the column Symbol, SecurityName or SecurityType is missing</source>
        <translation>%1：缺少 Symbol、SecurityName 或 SecurityType 列</translation>
    </message>
    <message>
        <source>%1:%2: %3 cells instead of %4</source>
        <translation>%1:%2：有 %3 个单元格，应为 %4 个</translation>
    </message>
    <message>
        <source>Qt's SQLite driver is not installed</source>
        <translation>没有安装 Qt 的 SQLite 驱动</translation>
    </message>
    <message>
        <source>%1 has been removed</source>
        <translation>%1 已被删除</translation>
    </message>
    <message>
        <source>%1 has changed</source>
        <translation>%1 已被修改</translation>
    </message>
    <message>
        <source>locked by another process</source>
        <translation>已被另一个进程锁定</translation>
    </message>
    <message>
        <source>not a store</source>
        <translation>不是数据库</translation>
    </message>
    <message>
        <source>a store of version %1, but version %2 is required; import the data again</source>
        <translation>数据库版本为 %1，需要版本 %2；请重新导入数据</translation>
    </message>
    <message>
        <source>the store is damaged (%1); import the data again</source>
        <translation>数据库已损坏（%1）；请重新导入数据</translation>
    </message>
    <message>
        <source>%1 since the store was built; import the data again</source>
        <translation>生成数据库之后，%1；请重新导入数据</translation>
    </message>
    <message>
        <source>no such file</source>
        <translation>文件不存在</translation>
    </message>
    <message>
        <source>a folder, not a store</source>
        <translation>这是文件夹，不是数据库</translation>
    </message>
    <message>
        <source>stock quotes</source>
        <translation>股票行情</translation>
    </message>
    <message>
        <source>index quotes</source>
        <translation>指数行情</translation>
    </message>
    <message>
        <source>future quotes</source>
        <translation>期货行情</translation>
    </message>
    <message>
        <source>transactions</source>
        <translation>逐笔成交</translation>
    </message>
    <message>
        <source>orders</source>
        <translation>逐笔委托</translation>
    </message>
    <message>
        <source>MDDate</source>
        <translation>日期</translation>
    </message>
    <message>
        <source>MDTime</source>
        <translation>时间</translation>
    </message>
    <message>
        <source>Symbol</source>
        <translation>代码</translation>
    </message>
    <message>
        <source>TradingPhaseCode</source>
        <translation>交易阶段</translation>
    </message>
    <message>
        <source>PreClosePx</source>
        <translation>昨收价</translation>
    </message>
    <message>
        <source>NumTrades</source>
        <translation>成交笔数</translation>
    </message>
    <message>
        <source>TotalVolumeTrade</source>
        <translation>成交量</translation>
    </message>
    <message>
        <source>TotalValueTrade</source>
        <translation>成交额</translation>
    </message>
    <message>
        <source>LastPx</source>
        <translation>最新价</translation>
    </message>
    <message>
        <source>OpenPx</source>
        <translation>开盘价</translation>
    </message>
    <message>
        <source>ClosePx</source>
        <translation>收盘价</translation>
    </message>
    <message>
        <source>HighPx</source>
        <translation>最高价</translation>
    </message>
    <message>
        <source>LowPx</source>
        <translation>最低价</translation>
    </message>
    <message>
        <source>MaxPx</source>
        <translation>涨停价</translation>
    </message>
    <message>
        <source>MinPx</source>
        <translation>跌停价</translation>
    </message>
    <message>
        <source>TotalBidQty</source>
        <translation>委买总量</translation>
    </message>
    <message>
        <source>TotalOfferQty</source>
        <translation>委卖总量</translation>
    </message>
    <message>
        <source>WeightedAvgBidPx</source>
        <translation>委买均价</translation>
    </message>
    <message>
        <source>WeightedAvgOfferPx</source>
        <translation>委卖均价</translation>
    </message>
    <message>
        <source>PERatio</source>
        <translation>市盈率</translation>
    </message>
    <message>
        <source>SellPrice</source>
        <translation>卖盘价格</translation>
    </message>
    <message>
        <source>BuyPrice</source>
        <translation>买盘价格</translation>
    </message>
    <message>
        <source>SellOrderQty</source>
        <translation>卖盘数量</translation>
    </message>
    <message>
        <source>BuyOrderQty</source>
        <translation>买盘数量</translation>
    </message>
    <message>
        <source>SecurityName</source>
        <translation>名称</translation>
    </message>
    <message>
        <source>Change</source>
        <translation>涨跌</translation>
    </message>
    <message>
        <source>ChangeRatio</source>
        <translation>涨跌幅%</translation>
    </message>
    <message>
        <source>Amplitude</source>
        <translation>振幅%</translation>
    </message>
    <message>
        <source>TurnoverRate</source>
        <translation>换手率</translation>
    </message>
    <message>
        <source>TotalMarketValue</source>
        <translation>总市值</translation>
    </message>
    <message>
        <source>PBRatio</source>
        <translation>市净率</translation>
    </message>
    <message>
        <source>CirculatingMarketValue</source>
        <translation>流通市值</translation>
    </message>
    <message>
        <source>AvgPx</source>
        <translation>均价</translation>
    </message>
    <message>
        <source>BidAskRatio</source>
        <translation>委比%</translation>
    </message>
    <message>
        <source>LastTradeLots</source>
        <translation>现手</translation>
    </message>
    <message>
        <source>QuantityRelativeRatio</source>
        <translation>量比</translation>
    </message>
    <message>
        <source>TradingDate</source>
        <translation>交易日</translation>
    </message>
    <message>
        <source>PreOpenInterest</source>
        <translation>昨持仓量</translation>
    </message>
    <message>
        <source>PreSettlePrice</source>
        <translation>昨结算价</translation>
    </message>
    <message>
        <source>OpenInterest</source>
        <translation>持仓量</translation>
    </message>
    <message>
        <source>SettlePrice</source>
        <translation>结算价</translation>
    </message>
    <message>
        <source>PreDelta</source>
        <translation>昨虚实度</translation>
    </message>
    <message>
        <source>CurrDelta</source>
        <translation>今虚实度</translation>
    </message>
    <message>
        <source>TradePrice</source>
        <translation>成交价</translation>
    </message>
    <message>
        <source>TradeQty</source>
        <translation>成交股数</translation>
    </message>
    <message>
        <source>Lots</source>
        <translation>手数</translation>
    </message>
    <message>
        <source>TradeMoney</source>
        <translation>成交金额</translation>
    </message>
    <message>
        <source>Side</source>
        <translation>方向</translation>
    </message>
    <message>
        <source>RankingKind</source>
        <translation>榜单</translation>
    </message>
    <message>
        <source>Rank</source>
        <translation>名次</translation>
    </message>
    <message>
        <source>Value</source>
        <translation>数值</translation>
    </message>
    <message>
        <source>Market</source>
        <translation>市场</translation>
    </message>
    <message>
        <source>Rising</source>
        <translation>上涨</translation>
    </message>
    <message>
        <source>Falling</source>
        <translation>下跌</translation>
    </message>
    <message>
        <source>Unchanged</source>
        <translation>平盘</translation>
    </message>
    <message>
        <source>LimitUp</source>
        <translation>涨停</translation>
    </message>
    <message>
        <source>LimitDown</source>
        <translation>跌停</translation>
    </message>
    <message>
        <source>TotalShare</source>
        <translation>总股本</translation>
    </message>
    <message>
        <source>ListedShare</source>
        <translation>流通股本</translation>
    </message>
    <message>
        <source>NetAssets</source>
        <translation>每股净资产</translation>
    </message>
    <message>
        <source>DividentRate</source>
        <translation>股息率%</translation>
    </message>
    <message>
        <source>tradeDay</source>
        <translation>交易日</translation>
    </message>
    <message>
        <source>eps</source>
        <translation>每股收益</translation>
    </message>
    <message>
        <source>ttmEps</source>
        <translation>每股收益TTM</translation>
    </message>
    <message>
        <source>staticPE</source>
        <translation>静态市盈率</translation>
    </message>
    <message>
        <source>dynamicPE</source>
        <translation>动态市盈率</translation>
    </message>
    <message>
        <source>ttmPE</source>
        <translation>滚动市盈率</translation>
    </message>
    <message>
        <source>last5DayVolumePerMinute</source>
        <translation>五日每分钟均量</translation>
    </message>
    <message>
        <source>days</source>
        <translation>连涨天数</translation>
    </message>
    <message>
        <source>SecurityType</source>
        <translation>类型</translation>
    </message>
    <message>
        <source>Initials</source>
        <translation>拼音</translation>
    </message>
    <message>
        <source>RecordedDays</source>
        <translation>录制天数</translation>
    </message>
    <message>
        <source>FirstRecorded</source>
        <translation>最早录制</translation>
    </message>
    <message>
        <source>LastRecorded</source>
        <translation>最近录制</translation>
    </message>
    <message>
        <source>DailyBars</source>
        <translation>日K数量</translation>
    </message>
    <message>
        <source>FirstBar</source>
        <translation>最早日K</translation>
    </message>
    <message>
        <source>LastBar</source>
        <translation>最近日K</translation>
    </message>
    <message>
        <source>MinuteBars</source>
        <translation>分钟K数量</translation>
    </message>
    <message>
        <source>InitStartDate</source>
        <translation>起始日期</translation>
    </message>
    <message>
        <source>Days</source>
        <translation>交易日数</translation>
    </message>
    <message>
        <source>TradeDate</source>
        <translation>交易日</translation>
    </message>
    <message>
        <source>a bus is required</source>
        <translation>需要指定总线</translation>
    </message>
    <message>
        <source>a bus is required: use --bus, or LX_BUS_URL in the environment</source>
        <translation>需要指定总线：使用 --bus，或环境变量 LX_BUS_URL</translation>
    </message>
    <message>
        <source>the replay would end at %1, before it begins at %2</source>
        <translation>回放的结束时间 %1 早于开始时间 %2</translation>
    </message>
    <message>
        <source>Name of the broker&apos;s streams, to which _LAST and _TICKS are added (default: %1)</source>
        <translation>消息服务器上流的名称，后接 _LAST 和 _TICKS（默认：%1）</translation>
    </message>
    <message>
        <source>&quot;%1&quot; is not a name of at most 32 letters, digits, - and _</source>
        <translation>“%1”不是由至多 32 个字母、数字、- 和 _ 组成的名称</translation>
    </message>
    <message>
        <source>Stream options, of the streams that the service creates on the broker</source>
        <translation>流选项（服务在消息服务器上创建的流）</translation>
    </message>
    <message>
        <source>Storage of the last value of each symbol</source>
        <translation>每个代码最新记录的存储方式</translation>
    </message>
    <message>
        <source>Limit of the last values, in megabytes (default: %1)</source>
        <translation>最新记录的容量上限，单位 MB（默认：%1）</translation>
    </message>
    <message>
        <source>Storage of the transactions and orders</source>
        <translation>逐笔成交和委托的存储方式</translation>
    </message>
    <message>
        <source>Limit of the transactions and orders, in megabytes (default: %1)</source>
        <translation>逐笔成交和委托的容量上限，单位 MB（默认：%1）</translation>
    </message>
    <message>
        <source>Keep transactions and orders for this time (default: %1)</source>
        <translation>逐笔成交和委托的保留小时数（默认：%1）</translation>
    </message>
    <message>
        <source>Brokers of a cluster that keep a copy of the streams (default: %1)</source>
        <translation>集群中保存流副本的消息服务器个数（默认：%1）</translation>
    </message>
    <message>
        <source>%1 COMMAND --help explains a command. An option --NAME can also be set in the environment (%2_NAME) or in the configuration file (a line NAME=VALUE; for one command only, below a line [COMMAND]).</source>
        <translation>“%1 命令 --help”显示该命令的说明。选项 --NAME 也可以由环境变量（%2_NAME）或配置文件给出（每行 NAME=VALUE，用于所有命令；只用于某个命令的写在 [命令] 之下）。</translation>
    </message>
    <message>
        <source>%1: &quot;%2&quot; is neither yes nor no</source>
        <translation>%1：“%2”既不是 yes 也不是 no</translation>
    </message>
    <message>
        <source>%1: neither NAME=VALUE nor [COMMAND]: %2</source>
        <translation>%1：既不是 NAME=VALUE 也不是 [命令]：%2</translation>
    </message>
    <message>
        <source>%1: %2 is already set at %3</source>
        <translation>%1：%2 已在 %3 设置</translation>
    </message>
    <message>
        <source>%1 (marketd import DIR %2), or omit --store</source>
        <translation>%1（marketd import DIR %2），或不用 --store</translation>
    </message>
    <message>
        <source>quotes</source>
        <translation>行情</translation>
    </message>
    <message>
        <source>quotes or transactions</source>
        <translation>行情或逐笔成交</translation>
    </message>
    <message>
        <source>no %1 are recorded on %2; there are some of %3</source>
        <translation>%2 没有%1录制数据；已有的日期：%3</translation>
    </message>
    <message>
        <source>no %1 of %2 are recorded</source>
        <translation>没有 %2 的%1录制数据</translation>
    </message>
    <message>
        <source>no %1 of %2 are recorded on %3; the latest are of %4</source>
        <translation>%3 没有 %2 的%1录制数据；最近的是 %4</translation>
    </message>
    <message>
        <source>%1
The latest recorded day is therefore unknown: specify one (--date), or remove what cannot be read.</source>
        <translation>%1
因此无法确定最近的录制日期：请指定日期（--date），或移走无法读取的文件。</translation>
    </message>
    <message>
        <source>s order</source>
        <translation>s 排序</translation>
    </message>
    <message>
        <source>/ find</source>
        <translation>/ 查找</translation>
    </message>
    <message>
        <source>space pause</source>
        <translation>空格 暂停</translation>
    </message>
    <message>
        <source>q quit</source>
        <translation>q 退出</translation>
    </message>
    <message>
        <source>candles have no fields: combine --fields with another --format</source>
        <translation>蜡烛图没有字段：--fields 请与其他 --format 一起使用</translation>
    </message>
    <message>
        <source>%1 must follow the command</source>
        <translation>%1 必须写在命令之后</translation>
    </message>
</context>
</TS>

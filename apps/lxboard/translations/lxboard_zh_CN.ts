<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="zh_CN" sourcelanguage="en">
<context>
    <name>BoardStatus</name>
    <message>
        <source>Status</source>
        <translation>状态</translation>
    </message>
    <message>
        <source>In process</source>
        <translation>进程内</translation>
    </message>
    <message>
        <source>Connected</source>
        <translation>已连接</translation>
    </message>
    <message>
        <source>Reconnecting since %1</source>
        <translation>自 %1 起重新连接</translation>
    </message>
    <message>
        <source>Connected, behind the market</source>
        <translation>已连接，行情积压</translation>
    </message>
    <message>
        <source>Connection closed</source>
        <translation>连接已关闭</translation>
    </message>
    <message>
        <source>No service since %1</source>
        <translation>自 %1 起没有服务</translation>
    </message>
    <message>
        <source>No service</source>
        <translation>没有服务</translation>
    </message>
    <message>
        <source>The replay has ended</source>
        <translation>回放已结束</translation>
    </message>
    <message>
        <source>No service publishes</source>
        <translation>没有服务发布行情</translation>
    </message>
    <message>
        <source>The market time has gone back to %1</source>
        <translation>行情时间回到 %1</translation>
    </message>
    <message>
        <source>Another day is replayed: %1</source>
        <translation>现在回放另一日：%1</translation>
    </message>
    <message>
        <source>This program itself replays recordings and answers requests</source>
        <translation>由本程序回放录制数据并应答请求</translation>
    </message>
    <message>
        <source>Live</source>
        <translation>实时</translation>
    </message>
    <message>
        <source>Stale: no update for %1 s of trading</source>
        <translation>停滞：交易时间内 %1 秒无更新</translation>
    </message>
    <message>
        <source>No quotes yet</source>
        <translation>尚无行情</translation>
    </message>
    <message>
        <source>%1 updates/s</source>
        <translation>%1 次更新/秒</translation>
    </message>
    <message>
        <source>Delay –</source>
        <translation>延迟 –</translation>
    </message>
    <message>
        <source>Delay %1 ms</source>
        <translation>延迟 %1 毫秒</translation>
    </message>
    <message>
        <source>Dropped %1, conflated %2</source>
        <translation>丢弃 %1，合并 %2</translation>
    </message>
</context>
<context>
    <name>CandleView</name>
    <message>
        <source>Candle chart</source>
        <translation>K线图</translation>
    </message>
    <message>
        <source>No bars</source>
        <translation>无K线</translation>
    </message>
    <message>
        <source>%1  O %2  H %3  L %4  C %5  %6  V %7</source>
        <translation>%1  开 %2  高 %3  低 %4  收 %5  %6  量 %7</translation>
    </message>
</context>
<context>
    <name>ChartPanel</name>
    <message>
        <source>Charts</source>
        <translation>图表</translation>
    </message>
    <message>
        <source>1 min</source>
        <translation>1分</translation>
    </message>
    <message>
        <source>5 min</source>
        <translation>5分</translation>
    </message>
    <message>
        <source>15 min</source>
        <translation>15分</translation>
    </message>
    <message>
        <source>30 min</source>
        <translation>30分</translation>
    </message>
    <message>
        <source>60 min</source>
        <translation>60分</translation>
    </message>
    <message>
        <source>Day</source>
        <translation>日K</translation>
    </message>
    <message>
        <source>Week</source>
        <translation>周K</translation>
    </message>
    <message>
        <source>Month</source>
        <translation>月K</translation>
    </message>
    <message>
        <source>Chart</source>
        <translation>图表</translation>
    </message>
    <message>
        <source>Unadjusted</source>
        <translation>不复权</translation>
    </message>
    <message>
        <source>Forward adjusted</source>
        <translation>前复权</translation>
    </message>
    <message>
        <source>Backward adjusted</source>
        <translation>后复权</translation>
    </message>
    <message>
        <source>Price adjustment</source>
        <translation>复权方式</translation>
    </message>
    <message>
        <source>Intraday</source>
        <translation>分时</translation>
    </message>
</context>
<context>
    <name>ChartView</name>
    <message>
        <source>Prices</source>
        <translation>价格</translation>
    </message>
    <message>
        <source>Volumes</source>
        <translation>成交量</translation>
    </message>
</context>
<context>
    <name>IntradayView</name>
    <message>
        <source>Intraday chart</source>
        <translation>分时图</translation>
    </message>
    <message>
        <source>No trades yet</source>
        <translation>尚无成交</translation>
    </message>
    <message>
        <source>Avg</source>
        <translation>均价</translation>
    </message>
</context>
<context>
    <name>LxBarSeries</name>
    <message>
        <source>Time</source>
        <translation>时间</translation>
    </message>
    <message>
        <source>Open</source>
        <translation>今开</translation>
    </message>
    <message>
        <source>High</source>
        <translation>最高</translation>
    </message>
    <message>
        <source>Low</source>
        <translation>最低</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>收盘</translation>
    </message>
    <message>
        <source>Volume</source>
        <translation>成交量</translation>
    </message>
    <message>
        <source>Amount</source>
        <translation>成交额</translation>
    </message>
</context>
<context>
    <name>LxDepthModel</name>
    <message>
        <source>Ask %1</source>
        <translation>卖%1</translation>
    </message>
    <message>
        <source>Bid %1</source>
        <translation>买%1</translation>
    </message>
    <message>
        <source>Level</source>
        <translation>档位</translation>
    </message>
    <message>
        <source>Price</source>
        <translation>价格</translation>
    </message>
    <message>
        <source>Quantity</source>
        <translation>数量</translation>
    </message>
</context>
<context>
    <name>LxQuoteTableModel</name>
    <message>
        <source>Code</source>
        <translation>代码</translation>
    </message>
    <message>
        <source>Name</source>
        <translation>名称</translation>
    </message>
    <message>
        <source>Last</source>
        <translation>最新价</translation>
    </message>
    <message>
        <source>Change</source>
        <translation>涨跌</translation>
    </message>
    <message>
        <source>Change %</source>
        <translation>涨跌幅</translation>
    </message>
    <message>
        <source>Volume</source>
        <translation>成交量</translation>
    </message>
    <message>
        <source>Amount</source>
        <translation>成交额</translation>
    </message>
    <message>
        <source>Bid</source>
        <translation>买一</translation>
    </message>
    <message>
        <source>Bid qty</source>
        <translation>买一量</translation>
    </message>
    <message>
        <source>Ask</source>
        <translation>卖一</translation>
    </message>
    <message>
        <source>Ask qty</source>
        <translation>卖一量</translation>
    </message>
    <message>
        <source>High</source>
        <translation>最高</translation>
    </message>
    <message>
        <source>Low</source>
        <translation>最低</translation>
    </message>
    <message>
        <source>Open</source>
        <translation>今开</translation>
    </message>
    <message>
        <source>Prev. close</source>
        <translation>昨收</translation>
    </message>
    <message>
        <source>Average</source>
        <translation>均价</translation>
    </message>
    <message>
        <source>Amplitude</source>
        <translation>振幅</translation>
    </message>
    <message>
        <source>Turnover</source>
        <translation>换手率</translation>
    </message>
    <message>
        <source>QRR</source>
        <translation>量比</translation>
    </message>
    <message>
        <source>P/E</source>
        <translation>市盈率</translation>
    </message>
    <message>
        <source>P/B</source>
        <translation>市净率</translation>
    </message>
    <message>
        <source>Market value</source>
        <translation>总市值</translation>
    </message>
    <message>
        <source>Circulating</source>
        <translation>流通市值</translation>
    </message>
    <message>
        <source>Time</source>
        <translation>时间</translation>
    </message>
</context>
<context>
    <name>LxSymbolModel</name>
    <message>
        <source>Code</source>
        <translation>代码</translation>
    </message>
    <message>
        <source>Name</source>
        <translation>名称</translation>
    </message>
    <message>
        <source>Initials</source>
        <translation>拼音首字母</translation>
    </message>
    <message>
        <source>Type</source>
        <translation>类型</translation>
    </message>
</context>
<context>
    <name>LxTradeListModel</name>
    <message>
        <source>Buy</source>
        <translation>买</translation>
    </message>
    <message>
        <source>Sell</source>
        <translation>卖</translation>
    </message>
    <message>
        <source>Time</source>
        <translation>时间</translation>
    </message>
    <message>
        <source>Price</source>
        <translation>价格</translation>
    </message>
    <message>
        <source>Lots</source>
        <translation>手数</translation>
    </message>
    <message>
        <source>Side</source>
        <translation>方向</translation>
    </message>
</context>
<context>
    <name>MainWindow</name>
    <message>
        <source>lxboard</source>
        <translation>lxboard</translation>
    </message>
    <message>
        <source>Quote board</source>
        <translation>行情看板</translation>
    </message>
    <message>
        <source>Lists</source>
        <translation>列表</translation>
    </message>
    <message>
        <source>Quotes</source>
        <translation>行情</translation>
    </message>
    <message>
        <source>Quotes and charts</source>
        <translation>行情与图表</translation>
    </message>
    <message>
        <source>Board and chosen symbol</source>
        <translation>看板与所选证券</translation>
    </message>
    <message>
        <source>The replay has ended</source>
        <translation>回放已结束</translation>
    </message>
    <message>
        <source>No past bars: %1</source>
        <translation>无历史K线：%1</translation>
    </message>
    <message>
        <source>&amp;List</source>
        <translation>列表(&amp;L)</translation>
    </message>
    <message>
        <source>&amp;View</source>
        <translation>视图(&amp;V)</translation>
    </message>
    <message>
        <source>&amp;Find symbol...</source>
        <translation>查找证券(&amp;F)...</translation>
    </message>
    <message>
        <source>&amp;Add shown symbol</source>
        <translation>添加当前证券(&amp;A)</translation>
    </message>
    <message>
        <source>Re&amp;move selected symbol</source>
        <translation>移除所选证券(&amp;M)</translation>
    </message>
    <message>
        <source>Move &amp;up	Shift+Up</source>
        <translation>上移(&amp;U)	Shift+Up</translation>
    </message>
    <message>
        <source>Move &amp;down	Shift+Down</source>
        <translation>下移(&amp;D)	Shift+Down</translation>
    </message>
    <message>
        <source>&amp;New list...</source>
        <translation>新建列表(&amp;N)...</translation>
    </message>
    <message>
        <source>&amp;Rename list...</source>
        <translation>重命名列表(&amp;R)...</translation>
    </message>
    <message>
        <source>De&amp;lete list</source>
        <translation>删除列表(&amp;L)</translation>
    </message>
    <message>
        <source>&amp;Import list...</source>
        <translation>导入列表(&amp;I)...</translation>
    </message>
    <message>
        <source>&amp;Export list...</source>
        <translation>导出列表(&amp;E)...</translation>
    </message>
    <message>
        <source>&amp;Previous list</source>
        <translation>上一个列表(&amp;P)</translation>
    </message>
    <message>
        <source>Ne&amp;xt list</source>
        <translation>下一个列表(&amp;X)</translation>
    </message>
    <message>
        <source>&amp;Quit</source>
        <translation>退出(&amp;Q)</translation>
    </message>
    <message>
        <source>Next &amp;period</source>
        <translation>下一周期(&amp;P)</translation>
    </message>
    <message>
        <source>&amp;Sort by</source>
        <translation>排序(&amp;S)</translation>
    </message>
    <message>
        <source>&amp;Dark</source>
        <translation>深色(&amp;D)</translation>
    </message>
    <message>
        <source>&amp;Red rises</source>
        <translation>红涨绿跌(&amp;R)</translation>
    </message>
    <message>
        <source>Whole market</source>
        <translation>全市场</translation>
    </message>
    <message>
        <source>New list</source>
        <translation>新建列表</translation>
    </message>
    <message>
        <source>Name:</source>
        <translation>名称：</translation>
    </message>
    <message>
        <source>Rename list</source>
        <translation>重命名列表</translation>
    </message>
    <message>
        <source>Delete the list "%1"?</source>
        <translation>删除列表“%1”？</translation>
    </message>
    <message>
        <source>Delete list</source>
        <translation>删除列表</translation>
    </message>
    <message>
        <source>Import list</source>
        <translation>导入列表</translation>
    </message>
    <message>
        <source>Export list</source>
        <translation>导出列表</translation>
    </message>
    <message>
        <source>%1: %2</source>
        <translation>%1：%2</translation>
    </message>
    <message>
        <source>Not symbols: %1</source>
        <translation>不是证券代码：%1</translation>
    </message>
    <message>
        <source>Watch list</source>
        <translation>自选股</translation>
    </message>
    <message>
        <source>Intraday / &amp;candles</source>
        <translation>分时/K线(&amp;C)</translation>
    </message>
</context>
<context>
    <name>SymbolFinder</name>
    <message>
        <source>Symbol finder</source>
        <translation>证券查找</translation>
    </message>
    <message>
        <source>Code, name or pinyin initials</source>
        <translation>代码、名称或拼音首字母</translation>
    </message>
    <message>
        <source>Matching securities</source>
        <translation>匹配的证券</translation>
    </message>
</context>
<context>
    <name>SymbolPanel</name>
    <message>
        <source>Chosen symbol</source>
        <translation>所选证券</translation>
    </message>
    <message>
        <source>Depth ladder</source>
        <translation>十档行情</translation>
    </message>
    <message>
        <source>Time and sales</source>
        <translation>成交明细</translation>
    </message>
    <message>
        <source>Open</source>
        <translation>今开</translation>
    </message>
    <message>
        <source>Prev. close</source>
        <translation>昨收</translation>
    </message>
    <message>
        <source>High</source>
        <translation>最高</translation>
    </message>
    <message>
        <source>Low</source>
        <translation>最低</translation>
    </message>
    <message>
        <source>Volume</source>
        <translation>成交量</translation>
    </message>
    <message>
        <source>Amount</source>
        <translation>成交额</translation>
    </message>
    <message>
        <source>Average</source>
        <translation>均价</translation>
    </message>
    <message>
        <source>Amplitude</source>
        <translation>振幅</translation>
    </message>
    <message>
        <source>P/E</source>
        <translation>市盈率</translation>
    </message>
    <message>
        <source>P/B</source>
        <translation>市净率</translation>
    </message>
    <message>
        <source>Market value</source>
        <translation>总市值</translation>
    </message>
    <message>
        <source>Circulating</source>
        <translation>流通市值</translation>
    </message>
    <message>
        <source>Turnover</source>
        <translation>换手率</translation>
    </message>
    <message>
        <source>QRR</source>
        <translation>量比</translation>
    </message>
    <message>
        <source>No quotes of this symbol yet</source>
        <translation>该证券尚无行情</translation>
    </message>
    <message>
        <source>Time and sales, from quotes</source>
        <translation>成交明细（按行情推算）</translation>
    </message>
</context>
</TS>

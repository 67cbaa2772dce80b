# Made by `python3 -m loamtunnel.stubs`.
from .row import Row


class LifTable(Row):
    destination: int  # [18:0] on 3/0 3/2 4/0 4/2 5/0 5/2 7/0 7/2 8/0 8/2 9/0 9/2 10/0 10/2; [75:57] on 3/3 3/4 4/3 4/4 5/3 5/4 7/3 7/4 8/3 8/4 9/3 9/4 10/3 10/4
    destinationValid: int  # [19:19] on 3/0 3/2 4/0 4/2 5/2 7/2 8/2 9/2 10/2; [76:76] on 3/3 3/4 4/3 4/4
    outLif: int  # [35:20] on 3/0 4/0
    vlanEditVid2: int  # [47:36] on 3/0 3/1 4/0 4/1 5/0 5/1 7/0 7/1 8/0 8/1 9/0 9/1 10/0 10/1
    vlanEditVid1: int  # [59:48] on 3/0 3/1 3/2 4/0 4/1 4/2 5/0 5/1 5/2 7/0 7/1 7/2 8/0 8/1 8/2 9/0 9/1 9/2 10/0 10/1 10/2
    vlanEditPcpDeiProfile: int  # [63:60] on 3/0 3/1 3/2 4/0 4/1 4/2 5/0 5/1 5/2 7/0 7/1 7/2 8/0 8/1 8/2 9/0 9/1 9/2 10/0 10/1 10/2
    vlanEditProfile: int  # [66:64] on 3/0 3/1 3/2 4/0 4/1 4/2 5/0 5/1 5/2 7/0 7/1 7/2 8/0 8/1 8/2 9/0 9/1 9/2 10/0 10/1 10/2
    orientationIsHub: int  # [67:67] on 3/0 3/1 3/2 4/0 4/1 4/2 5/0 5/1 5/2 7/0 7/1 7/2 8/0 8/1 8/2 9/0 9/1 9/2 10/0 10/1 10/2; [0:0] on 3/3 3/4 4/3 4/4 5/3 5/4 7/3 7/4 8/3 8/4 9/3 9/4 10/3 10/4
    cosProfile: int  # [73:68] on 3/0 3/1 3/2 4/0 4/1 4/2 5/0 5/1 5/2 7/0 7/1 7/2 8/0 8/1 8/2 9/0 9/1 9/2 10/0 10/1 10/2; [16:13] on 3/3 4/3 5/3 7/3 8/3 9/3 10/3; [18:13] on 3/4 4/4 5/4 7/4 8/4 9/4 10/4
    inLifProfile: int  # [77:74] on 3/0 3/1 3/2 4/0 4/1 4/2 5/0 5/1 5/2 7/0 7/1 7/2 8/0 8/1 8/2 9/0 9/1 9/2 10/0 10/1 10/2; [10:7] on 3/3 3/4 4/3 4/4 5/3 5/4 7/3 7/4 8/3 8/4 9/3 9/4 10/3 10/4
    outLifValid: int  # [78:78] on 3/0 4/0 5/0 7/0 8/0 9/0 10/0
    oamLifSet: int  # [80:80] on 3/0 3/1 3/2 3/3 3/4 4/0 4/1 4/2 4/3 4/4 5/0 5/1 5/2 5/3 5/4 7/0 7/1 7/2 7/3 7/4 8/0 8/1 8/2 8/3 8/4 9/0 9/1 9/2 9/3 9/4 10/0 10/1 10/2 10/3 10/4
    protectionPath: int  # [81:81] on 3/0 3/1 3/2 3/3 3/4 4/0 4/1 4/2 4/3 4/4 5/0 5/1 5/2 5/3 5/4 7/0 7/1 7/2 7/3 7/4 8/0 8/1 8/2 8/3 8/4 9/0 9/1 9/2 9/3 9/4 10/0 10/1 10/2 10/3 10/4
    protectionPointer: int  # [95:82] on 3/0 3/1 3/2 3/3 3/4 4/0 4/1 4/2 4/3 4/4 5/0 5/1 5/2 5/3 5/4 7/0 7/1 7/2 7/3 7/4 8/0 8/1 8/2 8/3 8/4 9/0 9/1 9/2 9/3 9/4 10/0 10/1 10/2 10/3 10/4
    useInLif: int  # [96:96] on 3/0 3/1 3/2 4/0 4/1 4/2
    type: int  # [98:97] on 3/0 3/1 3/2 3/3 3/4 4/0 4/1 4/2 4/3 4/4; [97:96] on 5/0 5/1 5/2 5/3 5/4 7/0 7/1 7/2 7/3 7/4 8/0 8/1 8/2 8/3 8/4 9/0 9/1 9/2 9/3 9/4 10/0 10/1 10/2 10/3 10/4
    vsi: int  # [15:0] on 3/1 4/1 5/1 7/1 8/1 9/1 10/1; [33:19] on 3/4 4/4 5/4 7/4 8/4 9/4 10/4
    learnInfo: int  # [31:16] on 3/1 4/1; [32:16] on 5/1 7/1 8/1 9/1 10/1
    ttLearnEnable: int  # [32:32] on 3/1 4/1; [77:77] on 3/4 4/4 5/4 7/4 8/4 9/4 10/4; [35:35] on 5/1 7/1 8/1 9/1 10/1
    daNotFoundProfile: int  # [34:33] on 3/1 4/1 5/1 7/1 8/1 9/1 10/1; [20:19] on 3/4 4/4; [56:55] on 5/4 7/4 8/4 9/4 10/4
    vsiAssignmentMode: int  # [79:78] on 3/1 3/2 3/3 3/4 4/1 4/2 4/3 4/4 5/1 5/2 5/3 5/4 7/1 7/2 7/3 7/4 8/1 8/2 8/3 8/4 9/1 9/2 9/3 9/4 10/1 10/2 10/3 10/4
    eeiOrOutLif: int  # [39:20] on 3/2 4/2; [56:33] on 3/3 4/3 5/3 7/3 8/3 9/3 10/3
    mplsVcLabel: int  # [39:20] on 3/2 4/2 5/2 7/2 8/2 9/2 10/2
    eeiOrOutLifIdentifier: int  # [43:40] on 3/2 4/2
    mplsPushProfile: int  # [43:40] on 3/2 4/2 5/2 7/2 8/2 9/2 10/2
    actionProfileIndex: int  # [3:1] on 3/3 3/4 4/3 4/4 5/3 5/4 7/3 7/4 8/3 8/4 9/3 9/4 10/3 10/4
    modelIsPipe: int  # [4:4] on 3/3 3/4 4/3 4/4 5/3 5/4 7/3 7/4 8/3 8/4 9/3 9/4 10/3 10/4
    terminationProfile: int  # [6:5] on 3/3 3/4 4/3 4/4
    terminationProfileLsb: int  # [6:5] on 3/3 4/3 5/3 7/3 8/3 9/3 10/3
    terminationTypeLsb: int  # [6:5] on 3/3 3/4 4/3 4/4 5/3 5/4 7/3 7/4 8/3 8/4 9/3 9/4 10/3 10/4
    tpidProfile: int  # [12:11] on 3/3 3/4 4/3 4/4 5/3 5/4 7/3 7/4 8/3 8/4 9/3 9/4 10/3 10/4
    inLif: int  # [32:17] on 3/3 4/3
    sysInLif: int  # [32:17] on 3/3 4/3; [115:98] on 5/0 5/1 5/2 5/3 5/4 7/0 7/1 7/2 7/3 7/4 8/0 8/1 8/2 8/3 8/4 9/0 9/1 9/2 9/3 9/4 10/0 10/1 10/2 10/3 10/4
    outLifValue: int  # [48:33] on 3/3 4/3; [50:33] on 5/3 7/3 8/3 9/3 10/3
    outLifValidBit: int  # [49:49] on 3/3 4/3; [51:51] on 5/3 7/3 8/3 9/3 10/3
    eeiOrOutLifType: int  # [77:77] on 3/3 4/3 5/3 7/3 8/3 9/3 10/3; [44:44] on 5/2 7/2 8/2 9/2 10/2
    terminationProfileMsb: int  # [96:96] on 3/3 4/3; [76:76] on 5/3 7/3 8/3 9/3 10/3
    terminationTypeMsb: int  # [96:96] on 3/3 4/3; [76:76] on 5/3 7/3 8/3 9/3 10/3
    serviceType: int  # [36:34] on 3/4 4/4 5/4 7/4 8/4 9/4 10/4
    inRif: int  # [48:37] on 3/4 4/4
    inRifMsb: int  # [48:37] on 3/4 4/4; [49:37] on 5/4 7/4 8/4 9/4 10/4
    inRifValid: int  # [49:49] on 3/4 4/4; [50:50] on 5/4 7/4 8/4 9/4 10/4
    forwardingCode: int  # [53:50] on 3/4 4/4; [54:51] on 5/4 7/4 8/4 9/4 10/4
    expectBos: int  # [54:54] on 3/4 4/4; [51:51] on 8/4 9/4
    destinationValidOrTerminationTypeMsb: int  # [76:76] on 3/4 4/4 5/4 7/4 8/4 9/4 10/4
    inLifValid: int  # [96:96] on 3/4 4/4
    outLifLsb: int  # [35:19] on 5/0 7/0 8/0 9/0 10/0
    outLifMsb: int  # [79:79] on 5/0 7/0 8/0 9/0 10/0
    doubleDataEntry: int  # [116:116] on 5/0 5/1 5/2 5/3 5/4 7/0 7/1 7/2 7/3 7/4 8/0 8/1 8/2 8/3 8/4 9/0 9/1 9/2 9/3 9/4 10/0 10/1 10/2 10/3 10/4
    outLifOrLabel: int  # [43:20] on 5/2 7/2 8/2 9/2 10/2
    eeiIsLabel: int  # [44:44] on 5/2 7/2 10/2
    vsiMsb: int  # [33:32] on 5/4 7/4 8/4 9/4 10/4

class OutAcBank(Row):
    eedbBankData: int  # [77:0] on 3/0 4/0; [87:0] on 5/0 7/0 8/0 9/0 10/0
    parity: int  # [80:78] on 3/0 4/0
    ac0ActionPcpDeiProfile: int  # [3:0] on 3/1 4/1 5/1 7/1 8/1 9/1 10/1
    ac0ActionVid1: int  # [15:4] on 3/1 4/1 5/1 7/1; [27:16] on 8/1 9/1 10/1
    ac0ActionVid2: int  # [27:16] on 3/1 4/1 5/1 7/1; [15:4] on 8/1 9/1 10/1
    ac0ActionVlanEditProfile: int  # [31:28] on 3/1 4/1; [32:28] on 5/1 7/1 8/1 9/1 10/1
    ac0ActionOamLifSet: int  # [32:32] on 3/1 4/1; [33:33] on 5/1 7/1 8/1 9/1 10/1
    ac0ActionDrop: int  # [33:33] on 3/1 4/1; [37:37] on 5/1 7/1; [40:40] on 8/1 9/1 10/1
    ac0EntryFormat: int  # [36:34] on 3/1; [36:35] on 4/1; [40:39] on 5/1 7/1
    ac1ActionPcpDeiProfile: int  # [40:37] on 3/1 4/1; [44:41] on 5/1 7/1 8/1 9/1 10/1
    ac1ActionVid1: int  # [52:41] on 3/1 4/1; [56:45] on 5/1 7/1; [68:57] on 8/1 9/1 10/1
    ac1ActionVid2: int  # [64:53] on 3/1 4/1; [68:57] on 5/1 7/1; [56:45] on 8/1 9/1 10/1
    ac1ActionVlanEditProfile: int  # [68:65] on 3/1 4/1; [73:69] on 5/1 7/1 8/1 9/1 10/1
    ac1ActionOamLifSet: int  # [69:69] on 3/1 4/1; [74:74] on 5/1 7/1 8/1 9/1 10/1
    ac1ActionDrop: int  # [70:70] on 3/1 4/1; [78:78] on 5/1 7/1; [81:81] on 8/1 9/1 10/1
    ac1EntryFormat: int  # [73:71] on 3/1; [73:72] on 4/1; [83:80] on 5/1 7/1
    acEntryFormat: int  # [77:74] on 3/1 4/1; [87:84] on 5/1 7/1 8/1 9/1 10/1
    arpLlActionNextOutLifLsb: int  # [4:0] on 3/2 4/2; [5:0] on 5/2 7/2 8/2 9/2 10/2
    arpLlActionNextOutLifValid: int  # [5:5] on 3/2 4/2; [6:6] on 5/2 7/2 8/2 9/2 10/2
    arpLlActionVsi: int  # [21:6] on 3/2 4/2; [22:7] on 5/2 7/2 8/2 9/2 10/2
    arpLlActionVsiValid: int  # [22:22] on 3/2 4/2; [23:23] on 5/2 7/2 8/2 9/2 10/2
    arpLlActionMac: int  # [70:23] on 3/2 4/2; [71:24] on 5/2 7/2 8/2 9/2 10/2
    arpLlActionOamLifSet: int  # [71:71] on 3/2 4/2; [75:75] on 5/2 7/2 8/2 9/2 10/2
    arpLlActionDrop: int  # [72:72] on 3/2 4/2; [82:82] on 5/2 7/2 8/2 9/2 10/2
    arpLlActionRemarkProfile: int  # [74:73] on 3/2 4/2; [74:72] on 5/2 7/2 8/2 9/2 10/2
    arpLlEntryFormat: int  # [77:75] on 3/2 4/2; [87:85] on 5/2 7/2 8/2 9/2 10/2
    ac0ActionUseAsDataBit: int  # [34:34] on 4/1; [38:38] on 5/1 7/1
    ac1ActionUseAsDataBit: int  # [71:71] on 4/1; [79:79] on 5/1 7/1
    ac0ActionOutlifProfile: int  # [36:34] on 5/1 7/1; [39:34] on 8/1 9/1 10/1
    ac1ActionOutlifProfile: int  # [77:75] on 5/1 7/1; [80:75] on 8/1 9/1 10/1
    arpLlActionOutlifProfile: int  # [80:76] on 5/2 7/2 8/2 9/2 10/2
    arpLlActionActionIdentifier: int  # [81:81] on 5/2 7/2 8/2 9/2 10/2
    arpLlActionReserved: int  # [84:83] on 5/2 7/2 8/2; [84:84] on 9/2 10/2
    acPlusDataEntry: int  # [83:82] on 8/1 9/1 10/1
    arpLlActionNativeLl: int  # [83:83] on 9/2 10/2

class EvecTable(Row):
    evecTableData: int  # [31:0] on 3 4 5 7; [37:0] on 8 9 10
    entry0NTagsToRemove: int  # [1:0] on 3 4 5 7 8 9 10
    entry0InnerPcpDeiSrc: int  # [3:2] on 3 4 5 7 8 9 10
    entry0OuterPcpDeiSrc: int  # [5:4] on 3 4 5 7 8 9 10
    entry0InnerVidSrc: int  # [8:6] on 3 4 5 7 8 9 10
    entry0OuterVidSrc: int  # [11:9] on 3 4 5 7 8 9 10
    entry0InnerTpidIdx: int  # [13:12] on 3 4 5 7; [14:12] on 8 9 10
    entry0OuterTpidIdx: int  # [15:14] on 3 4 5 7; [17:15] on 8 9 10
    entry1NTagsToRemove: int  # [17:16] on 3 4 5 7; [20:19] on 8 9 10
    entry1InnerPcpDeiSrc: int  # [19:18] on 3 4 5 7; [22:21] on 8 9 10
    entry1OuterPcpDeiSrc: int  # [21:20] on 3 4 5 7; [24:23] on 8 9 10
    entry1InnerVidSrc: int  # [24:22] on 3 4 5 7; [27:25] on 8 9 10
    entry1OuterVidSrc: int  # [27:25] on 3 4 5 7; [30:28] on 8 9 10
    entry1InnerTpidIdx: int  # [29:28] on 3 4 5 7; [33:31] on 8 9 10
    entry1OuterTpidIdx: int  # [31:30] on 3 4 5 7; [36:34] on 8 9 10
    parity: int  # [32:32] on 3 4 5 7; [39:38] on 8 9 10
    entry0MembershipCheckType: int  # [18:18] on 8 9 10
    entry1MembershipCheckType: int  # [37:37] on 8 9 10

class IngressVECTable(Row):
    ivec: int  # [5:0] on 3 4 5 7 8 9 10
    parity: int  # [8:8] on 3 4; [6:6] on 5 7 8 9 10

class EpniIvecTable(Row):
    tpidProfile: int  # [2:0] on 3 4 5 7 8 9 10
    outerTpidIndex: int  # [4:3] on 3 4 5 7 8 9 10
    outerVidSrc: int  # [7:5] on 3 4 5 7 8 9 10
    outerPcpDeiSrc: int  # [10:8] on 3 4 5 7 8 9 10
    innerTpidIndex: int  # [12:11] on 3 4 5 7 8 9 10
    innerVidSrc: int  # [15:13] on 3 4 5 7 8 9 10
    innerPcpDeiSrc: int  # [18:16] on 3 4 5 7 8 9 10
    tagsToRemove: int  # [20:19] on 3 4 5 7 8 9 10

class EgqIvecTable(Row):
    tpidProfile: int  # [2:0] on 3 4 5 7 8 9 10
    outerTpidIndex: int  # [4:3] on 3 4 5 7 8 9 10
    outerVidSrc: int  # [7:5] on 3 4 5 7 8 9 10
    outerPcpDeiSrc: int  # [10:8] on 3 4 5 7 8 9 10
    innerTpidIndex: int  # [12:11] on 3 4 5 7 8 9 10
    innerVidSrc: int  # [15:13] on 3 4 5 7 8 9 10
    innerPcpDeiSrc: int  # [18:16] on 3 4 5 7 8 9 10
    tagsToRemove: int  # [20:19] on 3 4 5 7 8 9 10

class TcamBankTable(Row):
    tcamCpuCmdWr: int  # [0:0] on 3/0 4/0; [1:0] on 5/0 7/0 8/0 9/0 10/0
    tcamCpuCmdRd: int  # [1:1] on 3/0 4/0; [2:2] on 5/0 7/0 8/0 9/0 10/0
    tcamCpuCmdCmp: int  # [2:2] on 3/0 4/0; [3:3] on 5/0 7/0 8/0 9/0 10/0
    tcamCpuCmdDi: int  # [166:3] on 3/0 4/0; [167:4] on 5/0 7/0 8/0 9/0 10/0
    tcamCpuCmdValid: int  # [168:167] on 3/0 4/0; [169:168] on 5/0 7/0 8/0 9/0 10/0
    tcamCpuCmdReserved: int  # [177:169] on 3/0 4/0; [179:170] on 5/0 7/0 8/0 9/0 10/0

class TcamActionTable(Row):
    action: int  # [19:0] on 3/0 4/0; [23:0] on 5/0 7/0 8/0 9/0 10/0
    parity: int  # [20:20] on 3/0 4/0

class EpniIsidTable(Row):
    isid: int  # [23:0] on 3 4 5 7 8 9 10
    parity: int  # [24:24] on 3 4 5 7 8 9 10

class IsemMgmtReq(Row):
    isaType: int  # [2:0] on 3/0 4/0
    isemType: int  # [2:0] on 3/0 4/0 5/0 7/0 8/0 9/0 10/0
    isaStamp: int  # [10:3] on 3/0 4/0
    isaKey: int  # [51:11] on 3/0 4/0
    isemKey: int  # [51:11] on 3/0 4/0; [60:11] on 5/0 7/0 8/0 9/0 10/0
    isemKeyInAcVd: int  # [18:11] on 3/0 4/0; [19:11] on 5/0 7/0 8/0 9/0 10/0
    isemKeyTcamSharingVd: int  # [18:11] on 3/0 4/0; [19:11] on 5/0 7/0 8/0 9/0 10/0
    isemKeyTcamSharingVid: int  # [30:19] on 3/0 4/0; [31:20] on 5/0 7/0 8/0 9/0 10/0
    isemKeyInAcInnerOrOuter: int  # [20:19] on 3/0 4/0; [21:20] on 5/0 7/0 8/0 9/0 10/0
    isemKeyInAcVid: int  # [32:21] on 3/0 4/0; [33:22] on 5/0 7/0 8/0 9/0 10/0
    isemKeyInAcInnerVid: int  # [44:33] on 3/0 4/0; [45:34] on 5/0 7/0 8/0 9/0 10/0
    isemKeyTunnelType: int  # [51:48] on 3/0 4/0; [60:55] on 5/0 7/0 8/0 9/0 10/0
    isaPayload: int  # [67:52] on 3/0 4/0
    isemPayload: int  # [67:52] on 3/0 4/0; [77:61] on 5/0 7/0 10/0; [76:61] on 8/0 9/0
    isaReservedLow: int  # [71:68] on 3/0 4/0
    isaAgeStatus: int  # [69:68] on 3/0 4/0
    isaSelf: int  # [70:70] on 3/0 4/0
    isaRefreshedByDsp: int  # [71:71] on 3/0 4/0
    isemStamp: int  # [10:3] on 5/0 7/0 8/0 9/0 10/0
    isemReservedLow: int  # [82:78] on 5/0 7/0 10/0; [81:77] on 8/0 9/0
    isemAgeStatus: int  # [80:78] on 5/0 7/0 10/0; [79:77] on 8/0 9/0
    isemSelf: int  # [81:81] on 5/0 7/0 10/0; [80:80] on 8/0 9/0
    isemRefreshedByDsp: int  # [82:82] on 5/0 7/0 10/0; [81:81] on 8/0 9/0

class EsemMgmtReq(Row):
    esemType: int  # [2:0] on 3/0 4/0 5/0 7/0 8/0 9/0 10/0 10/1
    esemStamp: int  # [10:3] on 3/0 4/0 5/0 7/0 8/0 9/0
    esemKey: int  # [47:11] on 3/0 4/0; [50:11] on 5/0 7/0 8/0 9/0 10/0 10/1
    esemKeyCvid: int  # [22:11] on 3/0 4/0 5/0 7/0 8/0 9/0 10/0 10/1
    esemKeyVsi: int  # [38:23] on 3/0 4/0 5/0 7/0 8/0 9/0 10/0 10/1
    esemKeyVd: int  # [46:39] on 3/0 4/0; [47:39] on 5/0 7/0 8/0 9/0 10/0 10/1
    esemKeyDbId: int  # [47:47] on 3/0 4/0; [48:48] on 5/0 7/0 8/0 9/0 10/0 10/1
    esemPayload: int  # [63:48] on 3/0 4/0; [67:51] on 5/0 7/0 8/0 9/0 10/0 10/1
    esemReservedLow: int  # [67:64] on 3/0 4/0; [72:68] on 5/0 7/0 8/0 9/0
    esemAgeStatus: int  # [65:64] on 3/0 4/0; [70:68] on 5/0 7/0 8/0 9/0
    esemSelf: int  # [66:66] on 3/0 4/0; [71:71] on 5/0 7/0 8/0 9/0
    esemRefreshedByDsp: int  # [67:67] on 3/0 4/0; [72:72] on 5/0 7/0 8/0 9/0
    esem0Type: int  # [2:0] on 10/0
    esem0Stamp: int  # [10:3] on 10/0
    esem0Key: int  # [50:11] on 10/0
    esem0Payload: int  # [67:51] on 10/0
    esem0ReservedLow: int  # [72:68] on 10/0
    esem0AgeStatus: int  # [70:68] on 10/0
    esem0Self: int  # [71:71] on 10/0
    esem0RefreshedByDsp: int  # [72:72] on 10/0
    esem1Type: int  # [2:0] on 10/1
    esem1Stamp: int  # [10:3] on 10/1
    esem1Key: int  # [50:11] on 10/1
    esem1Payload: int  # [67:51] on 10/1
    esem1ReservedLow: int  # [72:68] on 10/1
    esem1AgeStatus: int  # [70:68] on 10/1
    esem1Self: int  # [71:71] on 10/1
    esem1RefreshedByDsp: int  # [72:72] on 10/1

__all__ = ["LifTable", "OutAcBank", "EvecTable", "IngressVECTable", "EpniIvecTable", "EgqIvecTable", "TcamBankTable", "TcamActionTable", "EpniIsidTable", "IsemMgmtReq", "EsemMgmtReq"]

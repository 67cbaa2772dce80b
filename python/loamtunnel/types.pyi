# Made by `python3 -m loamtunnel.stubs`.
from collections.abc import Iterable
from ipaddress import IPv4Address
from typing import Any

from .tree import Children, Entity, Map, References
from .values import Enumeration, Fapmask as Fapmask, Interface, Value


EvecIndex = int  # EvecIndex, 0 to 65535
FapId = int  # FapId, 0 to 2048
FenNextHopId = int  # FenNextHopId, 0 to 4294967295
IntfId = Interface
IntfTpid = int  # IntfTpid, 0 to 65535
IntfTpidIndex = int  # IntfTpidIndex, 0 to 255
IpAddr = IPv4Address
OutAcIndex = int  # OutAcIndex, 0 to 65535
VlanIdOrNone = int  # VlanIdOrNone, 0 to 4094

class AradIhpIvectIndex(Value):
    def __init__(self, index: int = ..., *, hash: int = ..., iveProfile: int = ..., vlanTagFormat: int = ...) -> None: ...
    min: int
    max: int
    null: int
    @property
    def index(self) -> int:
        """U16, 0 to 256, 256 unless given"""
    @property
    def hash(self) -> int:
        """U16, 0 to 65535, index[15:0]"""
    @property
    def iveProfile(self) -> IveProfile:
        """IveProfile, index[2:0]"""
    @property
    def vlanTagFormat(self) -> VlanTagFormat:
        """VlanTagFormat, index[6:3]"""

class AradIvecEntry(Value):
    def __init__(self, key: AradIvecKey | tuple[Any, ...] | dict[str, Any] = ..., entryFormat: AradIvecFormat | tuple[Any, ...] | dict[str, Any] | int = ...) -> None: ...
    @property
    def key(self) -> AradIvecKey:
        """AradIvecKey"""
    @property
    def entryFormat(self) -> AradIvecFormat:
        """AradIvecFormat"""

class AradIvecFormat(Value):
    def __init__(self, word: int = ..., *, tpidProfile: int = ..., outerTpidIndex: int = ..., outerVidSrc: int = ..., outerPcpDeiSrc: int = ..., innerTpidIndex: int = ..., innerVidSrc: int = ..., innerPcpDeiSrc: int = ..., tagsToRemove: int = ...) -> None: ...
    @property
    def word(self) -> int:
        """U32, 0 to 4294967295, 0 unless given"""
    @property
    def tpidProfile(self) -> int:
        """U8, 0 to 7, word[2:0]"""
    @property
    def outerTpidIndex(self) -> int:
        """U8, 0 to 3, word[4:3]"""
    @property
    def outerVidSrc(self) -> int:
        """U8, 0 to 7, word[7:5]"""
    @property
    def outerPcpDeiSrc(self) -> int:
        """U8, 0 to 7, word[10:8]"""
    @property
    def innerTpidIndex(self) -> int:
        """U8, 0 to 3, word[12:11]"""
    @property
    def innerVidSrc(self) -> int:
        """U8, 0 to 7, word[15:13]"""
    @property
    def innerPcpDeiSrc(self) -> int:
        """U8, 0 to 7, word[18:16]"""
    @property
    def tagsToRemove(self) -> int:
        """U8, 0 to 3, word[20:19]"""

class AradIvecFormat_TagsToRemoveOption(Enumeration):
    nop = 0
    removeOneTag = 1
    removeTwoTags = 2

class AradIvecIndex(Value):
    def __init__(self, word0: int = ..., word1: int = ..., word2: int = ...) -> None: ...
    @property
    def word0(self) -> int:
        """U32, 64 unless given"""
    @property
    def word1(self) -> int:
        """U32, 7 unless given"""
    @property
    def word2(self) -> int:
        """U32, 0 unless given"""

class AradIvecKey(Value):
    def __init__(self, fapmask: Fapmask | str | Iterable[int] = ..., index: AradIvecIndex | tuple[Any, ...] | dict[str, Any] = ...) -> None: ...
    @property
    def fapmask(self) -> Fapmask:
        """Fapmask, [] unless given"""
    @property
    def index(self) -> AradIvecIndex:
        """AradIvecIndex"""

class AradLifAcMp(AradLifEntry):
    def __init__(self, lifType: LifType | str | int = ..., dword0: int = ..., dword1: int = ..., *, vsi: int = ..., ttLearnEnable: int = ..., vlanEditVid2: int = ..., vlanEditVid1: int = ..., vlanEditPcpDeiProfile: int = ..., vlanEditProfile: int = ..., orientationIsHub: int = ..., cosProfile: int = ..., inLifProfile: int = ..., vsiAssignmentMode: int = ..., useInLif: int = ..., type: int = ...) -> None: ...
    @property
    def vsi(self) -> int:
        """U16, 0 to 65535, dword0[15:0]"""
    @property
    def ttLearnEnable(self) -> bool:
        """bool, dword0[32]"""
    @property
    def vlanEditVid2(self) -> int:
        """U16, 0 to 4095, dword0[47:36]"""
    @property
    def vlanEditVid1(self) -> int:
        """U16, 0 to 4095, dword0[59:48]"""
    @property
    def vlanEditPcpDeiProfile(self) -> int:
        """U8, 0 to 15, dword0[63:60]"""
    @property
    def vlanEditProfile(self) -> int:
        """U8, 0 to 7, dword1[2:0]"""
    @property
    def orientationIsHub(self) -> bool:
        """bool, dword1[3]"""
    @property
    def cosProfile(self) -> int:
        """U8, 0 to 63, dword1[9:4]"""
    @property
    def inLifProfile(self) -> int:
        """U8, 0 to 15, dword1[13:10]"""
    @property
    def vsiAssignmentMode(self) -> int:
        """U8, 0 to 3, dword1[15:14]"""
    @property
    def useInLif(self) -> bool:
        """bool, dword1[32]"""
    @property
    def type(self) -> int:
        """U8, 0 to 3, dword1[34:33]"""

class AradLifAcP2pToAc(AradLifEntry):
    def __init__(self, lifType: LifType | str | int = ..., dword0: int = ..., dword1: int = ..., *, destination: int = ..., destinationValid: int = ..., outLif: int = ..., vlanEditProfile: int = ..., outLifValid: int = ..., useInLif: int = ..., type: int = ...) -> None: ...
    @property
    def destination(self) -> int:
        """U32, 0 to 524287, dword0[18:0]"""
    @property
    def destinationValid(self) -> bool:
        """bool, dword0[19]"""
    @property
    def outLif(self) -> int:
        """U32, 0 to 67108863, dword0[45:20]"""
    @property
    def vlanEditProfile(self) -> int:
        """U8, 0 to 7, dword1[2:0]"""
    @property
    def outLifValid(self) -> bool:
        """bool, dword1[14]"""
    @property
    def useInLif(self) -> bool:
        """bool, dword1[32]"""
    @property
    def type(self) -> int:
        """U8, 0 to 3, dword1[34:33]"""

class AradLifAcP2pToPwe(AradLifEntry):
    def __init__(self, lifType: LifType | str | int = ..., dword0: int = ..., dword1: int = ..., *, destination: int = ..., destinationValid: int = ..., mplsVcLabel: int = ..., mplsPushProfile: int = ..., vlanEditVid1: int = ..., vlanEditPcpDeiProfile: int = ..., vlanEditProfile: int = ..., orientationIsHub: int = ..., cosProfile: int = ..., inLifProfile: int = ..., vsiAssignmentMode: int = ..., oamLifSet: int = ..., protectionPath: int = ..., protectionPointer: int = ..., useInLif: int = ..., type: int = ...) -> None: ...
    @property
    def destination(self) -> int:
        """U32, 0 to 524287, dword0[18:0]"""
    @property
    def destinationValid(self) -> bool:
        """bool, dword0[19]"""
    @property
    def mplsVcLabel(self) -> int:
        """U32, 0 to 1048575, dword0[39:20]"""
    @property
    def mplsPushProfile(self) -> int:
        """U8, 0 to 15, dword0[43:40]"""
    @property
    def vlanEditVid1(self) -> int:
        """U16, 0 to 4095, dword0[59:48]"""
    @property
    def vlanEditPcpDeiProfile(self) -> int:
        """U8, 0 to 15, dword0[63:60]"""
    @property
    def vlanEditProfile(self) -> int:
        """U8, 0 to 7, dword1[2:0]"""
    @property
    def orientationIsHub(self) -> bool:
        """bool, dword1[3]"""
    @property
    def cosProfile(self) -> int:
        """U8, 0 to 63, dword1[9:4]"""
    @property
    def inLifProfile(self) -> int:
        """U8, 0 to 15, dword1[13:10]"""
    @property
    def vsiAssignmentMode(self) -> int:
        """U8, 0 to 3, dword1[15:14]"""
    @property
    def oamLifSet(self) -> int:
        """U8, 0 to 1, dword1[16]"""
    @property
    def protectionPath(self) -> int:
        """U8, 0 to 1, dword1[17]"""
    @property
    def protectionPointer(self) -> int:
        """U16, 0 to 16383, dword1[31:18]"""
    @property
    def useInLif(self) -> bool:
        """bool, dword1[32]"""
    @property
    def type(self) -> int:
        """U8, 0 to 3, dword1[34:33]"""

class AradLifBank(Enumeration):
    lifBankTunnelTermination = 1
    lifBankManaged = 2
    lifBankMax = 4

class AradLifEntry(Value):
    def __init__(self, lifType: LifType | str | int = ..., dword0: int = ..., dword1: int = ...) -> None: ...
    @property
    def lifType(self) -> LifType:
        """LifType, 0 unless given"""
    @property
    def dword0(self) -> int:
        """U64, 0 to 18446744073709551615, 0 unless given"""
    @property
    def dword1(self) -> int:
        """U64, 0 to 18446744073709551615, 0 unless given"""

class AradLifIndex(Value):
    def __init__(self, index: int = ..., startingBank: AradLifBank | str | int = ...) -> None: ...
    null: int
    min: int
    @property
    def index(self) -> int:
        """U32, 0 to 131072, 131072 unless given"""
    @property
    def startingBank(self) -> AradLifBank:
        """AradLifBank, lifBankMax unless given"""

class AradLifLabelProtocolOrLsp(AradLifEntry):
    def __init__(self, lifType: LifType | str | int = ..., dword0: int = ..., dword1: int = ..., *, orientationIsHub: int = ..., actionProfileIndex: int = ..., modelIsPipe: int = ..., terminationTypeLsb: int = ..., inLifProfile: int = ..., tpidProfile: int = ..., cosProfile: int = ..., vsi: int = ..., vsiMsb: int = ..., serviceType: int = ..., inRifMsb: int = ..., inRifValid: int = ..., expectBos: int = ..., forwardingCode: int = ..., daNotFoundProfile: int = ..., destinationLo: int = ..., destinationHi: int = ..., destinationValidOrTerminationTypeMsb: int = ..., ttLearnEnable: int = ..., vsiAssignmentMode: int = ..., oamLifSet: int = ..., protectionPath: int = ..., protectionPointer: int = ..., inLifValid: int = ..., type: int = ...) -> None: ...
    @property
    def orientationIsHub(self) -> int:
        """U8, 0 to 1, dword0[0]"""
    @property
    def actionProfileIndex(self) -> int:
        """U8, 0 to 7, dword0[3:1]"""
    @property
    def modelIsPipe(self) -> int:
        """U8, 0 to 1, dword0[4]"""
    @property
    def terminationTypeLsb(self) -> int:
        """U8, 0 to 3, dword0[6:5]"""
    @property
    def inLifProfile(self) -> int:
        """U8, 0 to 15, dword0[10:7]"""
    @property
    def tpidProfile(self) -> int:
        """U8, 0 to 3, dword0[12:11]"""
    @property
    def cosProfile(self) -> int:
        """U8, 0 to 63, dword0[18:13]"""
    @property
    def vsi(self) -> int:
        """U16, 0 to 32767, dword0[33:19]"""
    @property
    def vsiMsb(self) -> int:
        """U8, 0 to 3, dword0[33:32]"""
    @property
    def serviceType(self) -> int:
        """U8, 0 to 7, dword0[36:34]"""
    @property
    def inRifMsb(self) -> int:
        """U16, 0 to 4095, dword0[48:37]"""
    @property
    def inRifValid(self) -> int:
        """U8, 0 to 1, dword0[49]"""
    @property
    def expectBos(self) -> int:
        """U8, 0 to 1, dword0[54]"""
    @property
    def forwardingCode(self) -> int:
        """U8, 0 to 15, dword0[53:50]"""
    @property
    def daNotFoundProfile(self) -> int:
        """U8, 0 to 3, dword0[56:55]"""
    @property
    def destinationLo(self) -> int:
        """U32, 0 to 127, dword0[63:57]"""
    @property
    def destinationHi(self) -> int:
        """U16, 0 to 4095, dword1[11:0]"""
    @property
    def destinationValidOrTerminationTypeMsb(self) -> int:
        """U8, 0 to 1, dword1[12]"""
    @property
    def ttLearnEnable(self) -> int:
        """U8, 0 to 1, dword1[13]"""
    @property
    def vsiAssignmentMode(self) -> int:
        """U8, 0 to 3, dword1[15:14]"""
    @property
    def oamLifSet(self) -> int:
        """U8, 0 to 1, dword1[16]"""
    @property
    def protectionPath(self) -> int:
        """U8, 0 to 1, dword1[17]"""
    @property
    def protectionPointer(self) -> int:
        """U16, 0 to 16383, dword1[31:18]"""
    @property
    def inLifValid(self) -> int:
        """U8, 0 to 1, dword1[32]"""
    @property
    def type(self) -> int:
        """U8, 0 to 3, dword1[34:33]"""

class AradLifPweToP2p(AradLifEntry):
    def __init__(self, lifType: LifType | str | int = ..., dword0: int = ..., dword1: int = ..., *, orientationIsHub: int = ..., actionProfileIndex: int = ..., modelIsPipe: int = ..., terminationProfileLsb: int = ..., inLifProfile: int = ..., tpidProfile: int = ..., cosProfile: int = ..., sysInLif: int = ..., eeiOrOutLif: int = ..., outLifValue: int = ..., outLifValidBit: int = ..., destinationLo: int = ..., destinationHi: int = ..., destinationValid: int = ..., eeiOrOutLifType: int = ..., vsiAssignmentMode: int = ..., oamLifSet: int = ..., protectionPath: int = ..., protectionPointer: int = ..., terminationProfileMsb: int = ..., type: int = ...) -> None: ...
    @property
    def orientationIsHub(self) -> bool:
        """bool, dword0[0]"""
    @property
    def actionProfileIndex(self) -> int:
        """U8, 0 to 7, dword0[3:1]"""
    @property
    def modelIsPipe(self) -> int:
        """U8, 0 to 1, dword0[4]"""
    @property
    def terminationProfileLsb(self) -> int:
        """U8, 0 to 3, dword0[6:5]"""
    @property
    def inLifProfile(self) -> int:
        """U8, 0 to 15, dword0[10:7]"""
    @property
    def tpidProfile(self) -> int:
        """U8, 0 to 3, dword0[12:11]"""
    @property
    def cosProfile(self) -> int:
        """U8, 0 to 15, dword0[16:13]"""
    @property
    def sysInLif(self) -> int:
        """U32, 0 to 65535, dword0[32:17]"""
    @property
    def eeiOrOutLif(self) -> int:
        """U32, 0 to 16777215, dword0[56:33]"""
    @property
    def outLifValue(self) -> int:
        """U32, 0 to 65535, dword0[48:33]"""
    @property
    def outLifValidBit(self) -> int:
        """U8, 0 to 1, dword0[49]"""
    @property
    def destinationLo(self) -> int:
        """U32, 0 to 127, dword0[63:57]"""
    @property
    def destinationHi(self) -> int:
        """U16, 0 to 4095, dword1[11:0]"""
    @property
    def destinationValid(self) -> int:
        """U8, 0 to 1, dword1[12]"""
    @property
    def eeiOrOutLifType(self) -> int:
        """U8, 0 to 1, dword1[13]"""
    @property
    def vsiAssignmentMode(self) -> int:
        """U8, 0 to 3, dword1[15:14]"""
    @property
    def oamLifSet(self) -> int:
        """U8, 0 to 1, dword1[16]"""
    @property
    def protectionPath(self) -> int:
        """U8, 0 to 1, dword1[17]"""
    @property
    def protectionPointer(self) -> int:
        """U16, 0 to 16383, dword1[31:18]"""
    @property
    def terminationProfileMsb(self) -> int:
        """U8, 0 to 1, dword1[32]"""
    @property
    def type(self) -> int:
        """U8, 0 to 3, dword1[34:33]"""

class EedbAcConstants(Value):
    def __init__(self) -> None: ...
    aradAcStartIndex: int
    jerichoAcStartIndex: int

class EedbFormat(Enumeration):
    invalid = 0
    mpls = 1
    arp = 2
    data = 3
    ac = 4
    trill = 5
    rif = 6

class EedbValue(Value):
    def __init__(self, word0: int = ..., word1: int = ..., word2: int = ...) -> None: ...
    @property
    def word0(self) -> int:
        """U32, 0 to 4294967295, 0 unless given"""
    @property
    def word1(self) -> int:
        """U32, 0 to 4294967295, 0 unless given"""
    @property
    def word2(self) -> int:
        """U32, 0 to 4294967295, 0 unless given"""

class EvePcpDeiSource(Enumeration):
    evePcpDeiSrcEmpty = 0
    evePcpDeiSrcOuterTag = 1
    evePcpDeiSrcInnerTag = 2
    evePcpDeiSrcMap = 3

class EveVlanIdSource(Enumeration):
    eveVidSrcEmpty = 0
    eveVidSrcOuterTag = 1
    eveVidSrcInnerTag = 2
    eveVidSrcEditInfo0 = 3
    eveVidSrcEditInfo1 = 4
    eveVidSrcEncapInfo = 5

class EvecAppConfig(Entity):
    def __init__(self, argument: VtAppId | str | int) -> None: ...
    @property
    def app(self) -> VtAppId:
        """VtAppId"""
    @property
    def entry(self) -> Map[EvecKey, EvecEntry]:
        """[EvecKey]: EvecEntry, its key is the key"""

class EvecAppConfigDir(Entity):
    def __init__(self, argument: str | None = None) -> None: ...
    @property
    def appConfig(self) -> Children[VtAppId, EvecAppConfig]:
        """[VtAppId]: EvecAppConfig"""

class EvecEntry(Value):
    def __init__(self, key: EvecKey | tuple[Any, ...] | dict[str, Any] = ..., format: EvecFormat | tuple[Any, ...] | dict[str, Any] | int = ...) -> None: ...
    @property
    def key(self) -> EvecKey:
        """EvecKey"""
    @property
    def format(self) -> EvecFormat:
        """EvecFormat"""

class EvecFormat(Value):
    def __init__(self, value: int = ..., *, nTagsToRemove: int = ..., innerPcpDeiSrc: int = ..., outerPcpDeiSrc: int = ..., innerVidSrc: int = ..., outerVidSrc: int = ..., innerTpidIdx: int = ..., outerTpidIdx: int = ..., membershipCheckType: int = ...) -> None: ...
    @property
    def value(self) -> int:
        """U32, 0 to 524287, 262144 unless given"""
    @property
    def nTagsToRemove(self) -> int:
        """U8, 0 to 3, value[1:0]"""
    @property
    def innerPcpDeiSrc(self) -> int:
        """U8, 0 to 3, value[3:2]"""
    @property
    def outerPcpDeiSrc(self) -> int:
        """U8, 0 to 3, value[5:4]"""
    @property
    def innerVidSrc(self) -> int:
        """U8, 0 to 7, value[8:6]"""
    @property
    def outerVidSrc(self) -> int:
        """U8, 0 to 7, value[11:9]"""
    @property
    def innerTpidIdx(self) -> int:
        """U8, 0 to 7, value[14:12]"""
    @property
    def outerTpidIdx(self) -> int:
        """U8, 0 to 7, value[17:15]"""
    @property
    def membershipCheckType(self) -> int:
        """U8, 0 to 1, value[18]"""

class EvecKey(Value):
    def __init__(self, fapMask: Fapmask | str | Iterable[int] = ..., index: int = ...) -> None: ...
    @property
    def fapMask(self) -> Fapmask:
        """Fapmask, [] unless given"""
    @property
    def index(self) -> int:
        """EvecIndex, 0 to 65535, 1024 unless given"""

class EvecOwner(Value):
    def __init__(self, key: EvecKey | tuple[Any, ...] | dict[str, Any] = ..., app: VtAppId | str | int = ...) -> None: ...
    @property
    def key(self) -> EvecKey:
        """EvecKey"""
    @property
    def app(self) -> VtAppId:
        """VtAppId, 0 unless given"""

class EvecStatus(Entity):
    def __init__(self, argument: str | None = None) -> None: ...
    @property
    def entry(self) -> Map[EvecKey, EvecEntry]:
        """[EvecKey]: EvecEntry, its key is the key"""
    @property
    def owner(self) -> Map[EvecKey, EvecOwner]:
        """[EvecKey]: EvecOwner, its key is the key"""

class EvecValue(Value):
    def __init__(self, word0: int = ..., *, evec0: int = ..., evec1: int = ...) -> None: ...
    @property
    def word0(self) -> int:
        """U64, 0 to 274877906943, 0 unless given"""
    @property
    def evec0(self) -> int:
        """U32, 0 to 524287, word0[18:0]"""
    @property
    def evec1(self) -> int:
        """U32, 0 to 524287, word0[37:19]"""

class FapType(Enumeration):
    fapTypeOther = 1
    fapTypeArad = 3
    fapTypeJericho = 4

class FapTypeProperties(Entity):
    def __init__(self, argument: str | None = None) -> None: ...
    @property
    def properties(self) -> References[FapType, FapTypeProperties_Properties]:
        """[FapType]: FapTypeProperties_Properties, which live elsewhere"""
    @property
    def initialized(self) -> bool:
        """bool, False at first"""
    @initialized.setter
    def initialized(self, value: bool) -> None: ...

class FapTypeProperties_AradProperties(Entity):
    def __init__(self, argument: FapType | str | int) -> None: ...
    @property
    def fapType(self) -> FapType:
        """FapType"""
    @property
    def isemHwSize(self) -> int:
        """U32, 0 to 4294967295, 0 at first"""
    @isemHwSize.setter
    def isemHwSize(self, value: int) -> None: ...
    @property
    def esemHwSize(self) -> int:
        """U32, 0 to 4294967295, 0 at first"""
    @esemHwSize.setter
    def esemHwSize(self, value: int) -> None: ...
    @property
    def evecProfileSize(self) -> int:
        """U32, 0 to 4294967295, 0 at first"""
    @evecProfileSize.setter
    def evecProfileSize(self, value: int) -> None: ...
    @property
    def lifEntriesPerBank(self) -> int:
        """U32, 0 to 4294967295, 0 at first"""
    @lifEntriesPerBank.setter
    def lifEntriesPerBank(self, value: int) -> None: ...
    @property
    def tcamEntriesPerBank(self) -> int:
        """U32, 0 to 4294967295, 0 at first"""
    @tcamEntriesPerBank.setter
    def tcamEntriesPerBank(self, value: int) -> None: ...

class FapTypeProperties_JerichoProperties(Entity):
    def __init__(self, argument: FapType | str | int) -> None: ...
    @property
    def fapType(self) -> FapType:
        """FapType"""
    @property
    def isemHwSize(self) -> int:
        """U32, 0 to 4294967295, 0 at first"""
    @isemHwSize.setter
    def isemHwSize(self, value: int) -> None: ...
    @property
    def esemHwSize(self) -> int:
        """U32, 0 to 4294967295, 0 at first"""
    @esemHwSize.setter
    def esemHwSize(self, value: int) -> None: ...
    @property
    def evecProfileSize(self) -> int:
        """U32, 0 to 4294967295, 0 at first"""
    @evecProfileSize.setter
    def evecProfileSize(self, value: int) -> None: ...
    @property
    def lifEntriesPerBank(self) -> int:
        """U32, 0 to 4294967295, 0 at first"""
    @lifEntriesPerBank.setter
    def lifEntriesPerBank(self, value: int) -> None: ...
    @property
    def tcamEntriesPerBank(self) -> int:
        """U32, 0 to 4294967295, 0 at first"""
    @tcamEntriesPerBank.setter
    def tcamEntriesPerBank(self, value: int) -> None: ...

class FapTypeProperties_Properties(Entity):
    def __init__(self, argument: FapType | str | int) -> None: ...
    @property
    def fapType(self) -> FapType:
        """FapType"""
    @property
    def isemHwSize(self) -> int:
        """U32, 0 to 4294967295, 0 at first"""
    @isemHwSize.setter
    def isemHwSize(self, value: int) -> None: ...
    @property
    def esemHwSize(self) -> int:
        """U32, 0 to 4294967295, 0 at first"""
    @esemHwSize.setter
    def esemHwSize(self, value: int) -> None: ...
    @property
    def evecProfileSize(self) -> int:
        """U32, 0 to 4294967295, 0 at first"""
    @evecProfileSize.setter
    def evecProfileSize(self, value: int) -> None: ...
    @property
    def lifEntriesPerBank(self) -> int:
        """U32, 0 to 4294967295, 0 at first"""
    @lifEntriesPerBank.setter
    def lifEntriesPerBank(self, value: int) -> None: ...
    @property
    def tcamEntriesPerBank(self) -> int:
        """U32, 0 to 4294967295, 0 at first"""
    @tcamEntriesPerBank.setter
    def tcamEntriesPerBank(self, value: int) -> None: ...

class HwIvecs(Entity):
    def __init__(self, argument: str | None = None) -> None: ...
    @property
    def hwIvec(self) -> Map[AradIvecKey, AradIvecEntry]:
        """[AradIvecKey]: AradIvecEntry"""

class IveProfile(Enumeration):
    iveProfile0 = 0
    iveProfile1 = 1
    iveProfile2 = 2
    iveProfile3 = 3
    iveProfile4 = 4
    iveProfile5 = 5
    iveProfile6 = 6
    iveProfile7 = 7

class IveVlanIdSource(Enumeration):
    iveVidSrcEmpty = 0
    iveVidSrcAcEditInfo = 2
    iveVidSrcAcEditInfo2 = 3
    iveVidSrcOuterTag = 4
    iveVidSrcInnterTag = 5

class IveVlanPcpDeiSource(Enumeration):
    ivePcpDeiSrcEmpty = 0
    ivePcpDeiSrcAcEditInfo = 2
    ivePcpDeiSrcAcEditInfo2 = 3
    ivePcpDeiSrcOuterTag = 4
    ivePcpDeiSrcInnterTag = 5

class IvecAppConfig(Entity):
    def __init__(self, argument: VtAppId | str | int) -> None: ...
    @property
    def app(self) -> VtAppId:
        """VtAppId"""
    @property
    def entry(self) -> Map[AradIvecKey, AradIvecEntry]:
        """[AradIvecKey]: AradIvecEntry, its key is the key"""

class IvecAppConfigDir(Entity):
    def __init__(self, argument: str | None = None) -> None: ...
    @property
    def appConfig(self) -> Children[VtAppId, IvecAppConfig]:
        """[VtAppId]: IvecAppConfig"""

class IvecAppStatus(Entity):
    def __init__(self, argument: VtAppId | str | int) -> None: ...
    @property
    def app(self) -> VtAppId:
        """VtAppId"""
    @property
    def status(self) -> Map[AradIvecKey, AradIvecEntry]:
        """[AradIvecKey]: AradIvecEntry, its key is the key"""

class IvecAppStatusDir(Entity):
    def __init__(self, argument: str | None = None) -> None: ...
    @property
    def appStatus(self) -> Children[VtAppId, IvecAppStatus]:
        """[VtAppId]: IvecAppStatus"""

class IvectAppConfig(Entity):
    def __init__(self, argument: VtAppId | str | int) -> None: ...
    @property
    def app(self) -> VtAppId:
        """VtAppId"""
    @property
    def config(self) -> Map[AradIhpIvectIndex, AradIvecIndex]:
        """[AradIhpIvectIndex]: AradIvecIndex"""

class IvectAppConfigDir(Entity):
    def __init__(self, argument: str | None = None) -> None: ...
    @property
    def appConfig(self) -> Children[VtAppId, IvectAppConfig]:
        """[VtAppId]: IvectAppConfig"""

class IvectAppStatus(Entity):
    def __init__(self, argument: VtAppId | str | int) -> None: ...
    @property
    def app(self) -> VtAppId:
        """VtAppId"""
    @property
    def status(self) -> Map[AradIhpIvectIndex, AradIvecIndex]:
        """[AradIhpIvectIndex]: AradIvecIndex"""

class IvectAppStatusDir(Entity):
    def __init__(self, argument: str | None = None) -> None: ...
    @property
    def appStatus(self) -> Children[VtAppId, IvectAppStatus]:
        """[VtAppId]: IvectAppStatus"""

class LifAppConfig(Entity):
    def __init__(self, argument: VtAppId | str | int) -> None: ...
    @property
    def app(self) -> VtAppId:
        """VtAppId"""
    @property
    def reqCount(self) -> Map[AradLifEntry, int]:
        """[AradLifEntry]: U32, 0 to 4294967295"""

class LifAppConfigDir(Entity):
    def __init__(self, argument: str | None = None) -> None: ...
    @property
    def appConfig(self) -> Children[VtAppId, LifAppConfig]:
        """[VtAppId]: LifAppConfig"""

class LifAppStatus(Entity):
    def __init__(self, argument: VtAppId | str | int) -> None: ...
    @property
    def app(self) -> VtAppId:
        """VtAppId"""
    @property
    def lifEntry(self) -> Map[AradLifEntry, AradLifIndex]:
        """[AradLifEntry]: AradLifIndex"""

class LifAppStatusDir(Entity):
    def __init__(self, argument: str | None = None) -> None: ...
    @property
    def appStatus(self) -> Children[VtAppId, LifAppStatus]:
        """[VtAppId]: LifAppStatus"""

class LifType(Enumeration):
    lifGeneral = 0
    lifAcP2pToAc = 1
    lifAcP2pToPwe = 2
    lifAcP2pToPbb = 3
    lifAcMp = 4
    lifIsidP2p = 5
    lifIsidMp = 6
    lifLpTt = 7
    lifTrill = 8
    lifLabelPweP2p = 9
    lifLabelPweMp = 10
    lifLabelProtocolOrLsp = 11

class LoamTunnelCommonSmData(Entity):
    def __init__(self, argument: str | None = None) -> None: ...

class OutAcAppConfig(Entity):
    def __init__(self, argument: VtAppId | str | int) -> None: ...
    @property
    def app(self) -> VtAppId:
        """VtAppId"""
    @property
    def reqCount(self) -> Map[OutAcKey, int]:
        """[OutAcKey]: U32, 0 to 4294967295"""

class OutAcAppConfigDir(Entity):
    def __init__(self, argument: str | None = None) -> None: ...
    @property
    def appConfig(self) -> Children[VtAppId, OutAcAppConfig]:
        """[VtAppId]: OutAcAppConfig"""

class OutAcAppStatus(Entity):
    def __init__(self, argument: VtAppId | str | int) -> None: ...
    @property
    def app(self) -> VtAppId:
        """VtAppId"""
    @property
    def acEntry(self) -> Map[OutAcKey, OutAcEntry]:
        """[OutAcKey]: OutAcEntry, its acKey is the key"""

class OutAcAppStatusDir(Entity):
    def __init__(self, argument: str | None = None) -> None: ...
    @property
    def appStatus(self) -> Children[VtAppId, OutAcAppStatus]:
        """[VtAppId]: OutAcAppStatus"""

class OutAcConfig(Entity):
    def __init__(self, argument: str | None = None) -> None: ...
    @property
    def acRequest(self) -> Children[OutAcKey, OutAcRequest]:
        """[OutAcKey]: OutAcRequest"""

class OutAcEntry(Value):
    def __init__(self, acKey: OutAcKey | tuple[Any, ...] | dict[str, Any] = ..., acIndex: int = ...) -> None: ...
    @property
    def acKey(self) -> OutAcKey:
        """OutAcKey"""
    @property
    def acIndex(self) -> int:
        """OutAcIndex, 0 to 65535, 65535 unless given"""

class OutAcFormat(Value):
    def __init__(self, value: int = ..., *, pcpDeiProfile: int = ..., vid1: int = ..., vid2: int = ..., vlanEditProfile: int = ..., oamLifSet: int = ..., drop: int = ..., format: int = ..., unused: int = ...) -> None: ...
    @property
    def value(self) -> int:
        """U64, 0 to 18446744073709551615, 0 unless given"""
    @property
    def pcpDeiProfile(self) -> int:
        """U8, 0 to 15, value[3:0]"""
    @property
    def vid1(self) -> int:
        """U16, 0 to 4095, value[15:4]"""
    @property
    def vid2(self) -> int:
        """U16, 0 to 4095, value[27:16]"""
    @property
    def vlanEditProfile(self) -> int:
        """U8, 0 to 15, value[31:28]"""
    @property
    def oamLifSet(self) -> bool:
        """bool, value[32]"""
    @property
    def drop(self) -> bool:
        """bool, value[33]"""
    @property
    def format(self) -> int:
        """U8, 0 to 7, value[36:34]"""
    @property
    def unused(self) -> int:
        """U32, 0 to 134217727, value[63:37]"""

class OutAcKey(Value):
    def __init__(self, fapMask: Fapmask | str | Iterable[int] = ..., acFormat: OutAcFormat | tuple[Any, ...] | dict[str, Any] | int = ...) -> None: ...
    @property
    def fapMask(self) -> Fapmask:
        """Fapmask, [] unless given"""
    @property
    def acFormat(self) -> OutAcFormat:
        """OutAcFormat"""

class OutAcRequest(Entity):
    def __init__(self, argument: OutAcKey | tuple[Any, ...] | dict[str, Any]) -> None: ...
    @property
    def acKey(self) -> OutAcKey:
        """OutAcKey"""
    @property
    def reqCount(self) -> Map[VtAppId, int]:
        """[VtAppId]: U32, 0 to 4294967295"""

class OutAcStatus(Entity):
    def __init__(self, argument: str | None = None) -> None: ...
    @property
    def acEntry(self) -> Map[OutAcKey, OutAcEntry]:
        """[OutAcKey]: OutAcEntry, its acKey is the key"""

class OutAcValue(EedbValue):
    def __init__(self, word0: int = ..., word1: int = ..., word2: int = ..., *, acEntryFormat: int = ..., ac1EntryFormat: int = ..., ac0EntryFormat: int = ..., ac0_0_31: int = ..., ac0_32_36: int = ..., ac1_0_26: int = ..., ac1_27_36: int = ...) -> None: ...
    @property
    def acEntryFormat(self) -> int:
        """U8, 0 to 15, word2[13:10]"""
    @property
    def ac1EntryFormat(self) -> int:
        """U8, 0 to 7, word2[9:7]"""
    @property
    def ac0EntryFormat(self) -> int:
        """U8, 0 to 7, word1[4:2]"""
    @property
    def ac0_0_31(self) -> int:
        """U32, 0 to 4294967295, word0[31:0]"""
    @property
    def ac0_32_36(self) -> int:
        """U32, 0 to 31, word1[4:0]"""
    @property
    def ac1_0_26(self) -> int:
        """U32, 0 to 134217727, word1[31:5]"""
    @property
    def ac1_27_36(self) -> int:
        """U32, 0 to 1023, word2[9:0]"""

class TableAddStatus(Enumeration):
    tableAddNone = 0
    tableAddPending = 1
    tableAddSuccess = 2
    tableAddTableFull = 3
    tableAddFailed = 4

class TagPopPushConfig(Entity):
    def __init__(self, argument: str | None = None) -> None: ...
    @property
    def app(self) -> Map[VtAppId, bool]:
        """[VtAppId]: bool"""

class TagPopPushStatus(Entity):
    def __init__(self, argument: str | None = None) -> None: ...
    @property
    def enabled(self) -> bool:
        """bool, False at first"""
    @enabled.setter
    def enabled(self, value: bool) -> None: ...

class TapAggNormalFapMask(Entity):
    def __init__(self, argument: str | None = None) -> None: ...
    @property
    def fapMask(self) -> Fapmask:
        """Fapmask, [] at first"""
    @fapMask.setter
    def fapMask(self, value: Fapmask | str | Iterable[int]) -> None: ...

class TcamSharingConfig(Entity):
    def __init__(self, argument: str | None = None) -> None: ...
    @property
    def request(self) -> Map[TcamSharingRequest, TcamSharingPolicyId]:
        """[TcamSharingRequest]: TcamSharingPolicyId"""

class TcamSharingEntry(Value):
    def __init__(self, request: TcamSharingRequest | tuple[Any, ...] | dict[str, Any] = ..., policyId: TcamSharingPolicyId | tuple[Any, ...] | dict[str, Any] | int = ...) -> None: ...
    @property
    def request(self) -> TcamSharingRequest:
        """TcamSharingRequest"""
    @property
    def policyId(self) -> TcamSharingPolicyId:
        """TcamSharingPolicyId"""

class TcamSharingPendingRequest(Value):
    def __init__(self, entry: TcamSharingEntry | tuple[Any, ...] | dict[str, Any] = ..., insert: bool = ...) -> None: ...
    @property
    def entry(self) -> TcamSharingEntry:
        """TcamSharingEntry"""
    @property
    def insert(self) -> bool:
        """bool, False unless given"""

class TcamSharingPolicyId(Value):
    def __init__(self, value: int = ..., *, qosPolicy: int = ..., pbrPolicy: int = ..., ipv4Policy: int = ..., ipv6Policy: int = ..., ipv6PolicyValid: int = ..., ipv6EgressPolicy: int = ..., haloAclLabel: int = ...) -> None: ...
    @property
    def value(self) -> int:
        """U32, 0 to 4294967295, 0 unless given"""
    null: int
    @property
    def qosPolicy(self) -> int:
        """U8, 0 to 31, value[4:0]"""
    @property
    def pbrPolicy(self) -> int:
        """U8, 0 to 31, value[9:5]"""
    @property
    def ipv4Policy(self) -> int:
        """U8, 0 to 31, value[14:10]"""
    @property
    def ipv6Policy(self) -> int:
        """U8, 0 to 1, value[15]"""
    @property
    def ipv6PolicyValid(self) -> int:
        """U8, 0 to 1, value[16]"""
    @property
    def ipv6EgressPolicy(self) -> int:
        """U16, 0 to 1023, value[26:17]"""
    @property
    def haloAclLabel(self) -> int:
        """U8, 0 to 127, value[23:17]"""

class TcamSharingRequest(Value):
    def __init__(self, intfId: Interface | str | int = ..., fapId: int = ..., l3FloodPortVlanId: int = ...) -> None: ...
    @property
    def intfId(self) -> Interface:
        """IntfId, 0 to 18446744073709551615, 0 unless given"""
    @property
    def fapId(self) -> int:
        """FapId, 0 to 2048, 2048 unless given"""
    @property
    def l3FloodPortVlanId(self) -> int:
        """VlanIdOrNone, 0 to 4094, 0 unless given"""

class TcamSharingResponse(Value):
    def __init__(self, result: TcamSharingResult | str | int = ..., policyId: TcamSharingPolicyId | tuple[Any, ...] | dict[str, Any] | int = ...) -> None: ...
    @property
    def result(self) -> TcamSharingResult:
        """TcamSharingResult, 0 unless given"""
    @property
    def policyId(self) -> TcamSharingPolicyId:
        """TcamSharingPolicyId"""

class TcamSharingResult(Enumeration):
    tcamSharingInsertDefault = 0
    tcamSharingInsertSuccess = 1
    tcamSharingInsertFailure = 2

class TcamSharingStatus(Entity):
    def __init__(self, argument: str | None = None) -> None: ...
    @property
    def response(self) -> Map[TcamSharingRequest, TcamSharingResponse]:
        """[TcamSharingRequest]: TcamSharingResponse"""

class TcamSharingVlanIdOrDomainResponse(Value):
    def __init__(self, value: int = ..., success: bool = ...) -> None: ...
    @property
    def value(self) -> int:
        """U16, 0 to 65535, 0 unless given"""
    @property
    def success(self) -> bool:
        """bool, False unless given"""

class TpidRewriteStatus(Entity):
    def __init__(self, argument: str | None = None) -> None: ...
    @property
    def enabled(self) -> bool:
        """bool, False at first"""
    @enabled.setter
    def enabled(self, value: bool) -> None: ...

class TpidVtAppConfig(Entity):
    def __init__(self, argument: str | None = None) -> None: ...

class TpidVtAppConfigDir(Entity):
    def __init__(self, argument: str | None = None) -> None: ...

class TpidVtAppConfigEntry(Value):
    def __init__(self, intf: Interface | str | int = ..., intfTpid: int = ..., intfTpidIndex: int = ...) -> None: ...
    @property
    def intf(self) -> Interface:
        """IntfId, 0 to 18446744073709551615, 0 unless given"""
    @property
    def intfTpid(self) -> int:
        """IntfTpid, 0 to 65535, 33024 unless given"""
    @property
    def intfTpidIndex(self) -> int:
        """IntfTpidIndex, 0 to 255, 4 unless given"""

class TunnelKey(Value):
    def __init__(self, tunnelType: TunnelType | str | int = ..., source: IPv4Address | str | int = ..., destinationAddr: IPv4Address | str | int = ..., idHigh: int = ..., idLow: int = ...) -> None: ...
    @property
    def tunnelType(self) -> TunnelType:
        """TunnelType, 0 unless given"""
    @property
    def source(self) -> IPv4Address:
        """IpAddr, 0 unless given"""
    @property
    def destinationAddr(self) -> IPv4Address:
        """IpAddr, 0 unless given"""
    @property
    def idHigh(self) -> int:
        """U32, 0 unless given"""
    @property
    def idLow(self) -> int:
        """U32, 0 unless given"""

class TunnelTerminationConfig(Entity):
    def __init__(self, argument: str | None = None) -> None: ...
    @property
    def config(self) -> Map[TunnelTerminationEntry, bool]:
        """[TunnelTerminationEntry]: bool"""

class TunnelTerminationEntry(Value):
    def __init__(self, tunnelType: TunnelType | str | int = ..., terminatingIpAddr: IPv4Address | str | int = ...) -> None: ...
    @property
    def tunnelType(self) -> TunnelType:
        """TunnelType, 0 unless given"""
    @property
    def terminatingIpAddr(self) -> IPv4Address:
        """IpAddr, 0 unless given"""

class TunnelTerminationStatus(Entity):
    def __init__(self, argument: str | None = None) -> None: ...
    @property
    def status(self) -> Map[TunnelTerminationEntry, TableAddStatus]:
        """[TunnelTerminationEntry]: TableAddStatus"""

class TunnelType(Enumeration):
    tunnelTypeNone = 0
    tunnelTypeIpInIp = 1
    tunnelTypeGre = 2
    tunnelTypeVxlan = 3
    tunnelTypeNvgre = 4
    tunnelTypeGeneve = 5
    tunnelTypeMplsOverGre = 6

class VcableTpidVtConfigEntry(Value):
    def __init__(self, intf: Interface | str | int = ..., intfTpidIndex: int = ...) -> None: ...
    @property
    def intf(self) -> Interface:
        """IntfId, 0 to 18446744073709551615, 0 unless given"""
    @property
    def intfTpidIndex(self) -> int:
        """IntfTpidIndex, 0 to 255, 4 unless given"""

class VlanTagFormat(Enumeration):
    vlanTagNone = 0
    vlanTagPriority = 1
    vlanTagC = 2
    vlanTagS = 3
    vlanTagNoneNone = 4
    vlanTagPriorityPriority = 5
    vlanTagPriorityC = 6
    vlanTagPriorityS = 7
    vlanTagCNone = 8
    vlanTagCPriority = 9
    vlanTagCC = 10
    vlanTagCS = 11
    vlanTagSNone = 12
    vlanTagSPriority = 13
    vlanTagSC = 14
    vlanTagSS = 15

class VtAppId(Enumeration):
    vtAppNone = 0
    vtAppBridging = 1
    vtAppRouting = 2
    vtAppSubinterface = 3
    vtAppVlanTranslation = 4
    vtAppDot1qTunnel = 5
    vtAppVxlan = 6
    vtAppMpls = 7
    vtAppPseudowire = 8
    vtAppEvpn = 9
    vtAppMulticast = 10
    vtAppMirroring = 11
    vtAppTapAggregation = 12

class VtepToNhIdMapConfig(Entity):
    def __init__(self, argument: str | None = None) -> None: ...
    @property
    def config(self) -> Map[TunnelKey, int]:
        """[TunnelKey]: FenNextHopId, 0 to 4294967295"""

class VtepToNhIdMapStatus(Entity):
    def __init__(self, argument: str | None = None) -> None: ...
    @property
    def status(self) -> Map[TunnelKey, VtepToNhIdMapStatusEntry]:
        """[TunnelKey]: VtepToNhIdMapStatusEntry"""

class VtepToNhIdMapStatusEntry(Value):
    def __init__(self, nhId: int = ..., addStatus: TableAddStatus | str | int = ...) -> None: ...
    @property
    def nhId(self) -> int:
        """FenNextHopId, 0 to 4294967295, 4294967295 unless given"""
    @property
    def addStatus(self) -> TableAddStatus:
        """TableAddStatus, 0 unless given"""

class acType(Enumeration):
    acP2pToAc = 0
    acP2pToPwe = 1
    acP2pToPbb = 2
    acMp = 3

class labelLifType(Enumeration):
    labelPweP2p = 0
    labelPweMp = 1
    labelPweLsp = 2
    labelPweInvalid = 3
